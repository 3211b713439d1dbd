# Sanitizers apply to everything in the tree (GoogleTest included) so that
# instrumented and uninstrumented code never mix in one process.
if(VANTORIX_SANITIZE AND VANTORIX_TSAN)
  message(FATAL_ERROR "ASan/UBSan and TSan cannot be combined")
endif()
if(VANTORIX_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer
                      -fno-sanitize-recover=undefined)
  add_link_options(-fsanitize=address,undefined)
endif()
if(VANTORIX_TSAN)
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
  add_link_options(-fsanitize=thread)
endif()
