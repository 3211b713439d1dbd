// The newer driver's request list as the driver documentation prints it,
// parsed independently of the library's own table so that a slip in either
// shows up as a difference.
#ifndef VANTORIX_TESTS_TRANSLATION_ORACLE_H
#define VANTORIX_TESTS_TRANSLATION_ORACLE_H

#include <cstdint>
#include <cstdlib>
#include <regex>
#include <string>
#include <vector>

namespace oracle {

// Renumbered requests, legacy then new, two pairs a row.
const char kRenumberedText[] = R"(
| 0x901 | 0x90002 | 0x936 | 0x90016 |
| 0x902 | 0x90003 | 0x937 | 0x90017 |
| 0x903 | 0x90004 | 0x938 | 0x90018 |
| 0x904 | 0x90005 | 0x990 | 0x90000 |
| 0x905 | 0x9000B | 0x9A2 | 0x9001E |
| 0x906 | 0x90006 | 0x9D7 | 0x9001A |
| 0x907 | 0x90008 | 0x9D8 | 0x9001B |
| 0x909 | 0x90009 | 0x9D9 | 0x9001C |
| 0x90A | 0x90007 | 0x9DA | 0x9001D |
| 0x910 | 0x90011 | 0x9DB | 0x90022 |
| 0x911 | 0x90012 | 0x9DC | 0x90021 |
| 0x914 | 0x90013 | 0x9E0 | 0x90023 |
| 0x916 | 0x90014 | 0x9F0 | 0x9001F |
| 0x917 | 0x90015 | 0x9F1 | 0x90020 |
| 0x930 | 0x9000D | 0xB00 | 0x90024 |
| 0x931 | 0x9000E | 0xB01 | 0x90025 |
| 0x932 | 0x9000F | 0xB02 | 0x90026 |
)";

// Message requests, legacy number and code.
const char kMessageText[] = R"(
0x90B "iscr", 0x90C "gcsf", 0x912 "svid", 0x913 "gisz", 0x918 "recy", 0x919 "rvdi",
0x91B "gcit", 0x91C "shat", 0x91D "ghat", 0x91E "vprv", 0x91F "gcsi", 0x933 "gbsc",
0x934 "gast", 0x939 "ibsc", 0x93A "fluh", 0x93D "isrc", 0x93E "gsrc", 0x940 "dnfo",
0x941 "savf", 0x942 "gavf", 0x943 "sfla", 0x944 "gfla", 0x945 "svis", 0x946 "gvis",
0x947 "saif", 0x948 "gaif", 0x949 "s444", 0x94A "g444", 0x94B "sacl", 0x94C "sais",
0x94D "saos", 0x94E "sdis", 0x94F "sdos", 0x950 "saof", 0x951 "gaof", 0x952 "gacl",
0x953 "gais", 0x954 "gaos", 0x955 "gdis", 0x956 "gdos", 0x960 "sfie", 0x961 "gfie",
0x962 "spul", 0x963 "gpul", 0x964 "sbdc", 0x965 "gdbc", 0x966 "spag", 0x967 "gcag",
0x968 "scao", 0x969 "gcao", 0x96A "saog", 0x96B "gaog", 0x96C "scig", 0x96D "gcig",
0x96E "scai", 0x96F "gcai", 0x970 "ssig", 0x971 "gsig", 0x972 "avaa", 0x973 "evaa",
0x974 "sref", 0x975 "gref", 0x976 "svan", 0x977 "gvan", 0x978 "sdca", 0x979 "gdcm",
0x97A "sdao", 0x97B "gdao", 0x97C "shdm", 0x97D "ghdm", 0x97E "sidm", 0x97F "gidm",
0x980 "sgen", 0x981 "iref", 0x982 "spro", 0x983 "gpro", 0x984 "ggen", 0x985 "scta",
0x986 "gcta", 0x991 "gvid", 0x992 "peid", 0x993 "gtim", 0x994 "huse", 0x996 "gfwv",
0x999 "naud", 0x99A "gsub", 0x99B "g3dp", 0x99C "s3dp", 0x99D "gbus", 0x99E "toid",
0x9A0 "rreg", 0x9A1 "wreg", 0x9A3 "psta", 0x9A6 "vrfy", 0x9B0 "abon", 0x9B1 "aoff",
0x9B2 "galf", 0x9B3 "ramp", 0x9B4 "dram", 0x9B5 "abse", 0x9D0 "sivo", 0x9D1 "givo",
0x9DD "sint", 0x9DE "rxtx", 0x9DF "sxtx", 0xA02 "gdvo", 0xA03 "sdvo", 0xA04 "satr",
0xA05 "gatr", 0xA06 "dsvi", 0xA07 "stat", 0x1010 "wfai", 0x1011 "wprv", 0x10000 "sdsv"
)";

struct Entry {
    int32_t legacy;
    int32_t request;
    uint32_t code;  // 0 for renumbered requests
    std::string text;  // the four characters, empty for renumbered requests
};

inline int32_t hex(const std::string& s)
{
    return static_cast<int32_t>(std::strtol(s.c_str(), nullptr, 16));
}

inline std::vector<Entry> renumbered()
{
    std::vector<Entry> out;
    const std::regex pair("(0x[0-9A-F]+) \\| (0x[0-9A-F]+)");
    const std::string text = kRenumberedText;
    for (std::sregex_iterator i(text.begin(), text.end(), pair), end; i != end; ++i)
        out.push_back({hex((*i)[1]), hex((*i)[2]), 0, {}});
    return out;
}

inline std::vector<Entry> messages()
{
    std::vector<Entry> out;
    const std::regex item("(0x[0-9A-F]+) \"(....)\"");
    const std::string text = kMessageText;
    for (std::sregex_iterator i(text.begin(), text.end(), item), end; i != end; ++i) {
        const std::string code = (*i)[2];
        uint32_t value = 0;
        for (char c : code)
            value = value << 8 | static_cast<unsigned char>(c);
        out.push_back({hex((*i)[1]), 0x90001, value, code});
    }
    return out;
}

inline std::vector<Entry> all()
{
    std::vector<Entry> out = renumbered();
    const std::vector<Entry> m = messages();
    out.insert(out.end(), m.begin(), m.end());
    return out;
}

}  // namespace oracle

#endif
