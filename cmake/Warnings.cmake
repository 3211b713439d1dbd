# Project targets link vantorix_warnings; third-party code built in the tree does not.
add_library(vantorix_warnings INTERFACE)
target_compile_options(vantorix_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wformat=2 -Wcast-align -Wundef
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Woverloaded-virtual>
  $<$<BOOL:${VANTORIX_WERROR}>:-Werror>)
