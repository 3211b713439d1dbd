// The models of the device family, indexed by the model index the driver
// reports (product data; only the names are consulted by the library).
#include "QuorvaleInformation.h"

// In every row with a non-zero code, bits 16-23 of the code repeat the row
// index.
extern "C" const VantorixDeviceTableRow gVantorixDeviceTable[kVantorixDeviceTableRows] = {
    {0x00000000u, 0x000u, "Quorvale"},  // 0: placeholder, never selected
    {0x51010201u, 0x000u, "Quorvale Lumatrel"},  // 1
    {0x51020202u, 0x001u, "Quorvale Lumatrel Duo"},  // 2
    {0x51030203u, 0x001u, "Quorvale Lumatrel Quad"},  // 3
    {0x51040204u, 0x100u, "Quorvale Lumatrel 4K"},  // 4
    {0x51050205u, 0x000u, "Quorvale Sorvane"},  // 5
    {0x51060206u, 0x001u, "Quorvale Sorvane Duo"},  // 6
    {0x51070207u, 0x001u, "Quorvale Sorvane Quad"},  // 7
    {0x51080208u, 0x100u, "Quorvale Sorvane 4K"},  // 8
    {0x51090209u, 0x000u, "Quorvale Kestrine"},  // 9
    {0x510A020Au, 0x001u, "Quorvale Kestrine Duo"},  // 10
    {0x510B020Bu, 0x001u, "Quorvale Kestrine Quad"},  // 11
    {0x510C020Cu, 0x100u, "Quorvale Kestrine 4K"},  // 12
    {0x510D020Du, 0x000u, "Quorvale Voltrae"},  // 13
    {0x510E020Eu, 0x001u, "Quorvale Voltrae Duo"},  // 14
    {0x510F020Fu, 0x001u, "Quorvale Voltrae Quad"},  // 15
    {0x51100210u, 0x100u, "Quorvale Voltrae 4K"},  // 16
    {0x51110211u, 0x000u, "Quorvale Brenmoor"},  // 17
    {0x51120212u, 0x001u, "Quorvale Brenmoor Duo"},  // 18
    {0x51130213u, 0x001u, "Quorvale Brenmoor Quad"},  // 19
    {0x51140214u, 0x100u, "Quorvale Brenmoor 4K"},  // 20
    {0x51150215u, 0x000u, "Quorvale Quillet"},  // 21
    {0x51160216u, 0x001u, "Quorvale Quillet Duo"},  // 22
    {0x51170217u, 0x001u, "Quorvale Quillet Quad"},  // 23
    {0x51180218u, 0x100u, "Quorvale Quillet 4K"},  // 24
    {0x51190219u, 0x000u, "Quorvale Taviro"},  // 25
    {0x511A021Au, 0x001u, "Quorvale Taviro Duo"},  // 26
    {0x511B021Bu, 0x001u, "Quorvale Taviro Quad"},  // 27
    {0x511C021Cu, 0x100u, "Quorvale Taviro 4K"},  // 28
    {0x511D021Du, 0x000u, "Quorvale Nessary"},  // 29
    {0x511E021Eu, 0x001u, "Quorvale Nessary Duo"},  // 30
    {0x511F021Fu, 0x001u, "Quorvale Nessary Quad"},  // 31
    {0x51200220u, 0x100u, "Quorvale Nessary 4K"},  // 32
    {0x51210221u, 0x000u, "Quorvale Orvelle"},  // 33
    {0x51220222u, 0x001u, "Quorvale Orvelle Duo"},  // 34
    {0x51230223u, 0x001u, "Quorvale Orvelle Quad"},  // 35
    {0x51240224u, 0x100u, "Quorvale Orvelle 4K"},  // 36
    {0x51250225u, 0x000u, "Quorvale Pellora"},  // 37
    {0x51260226u, 0x001u, "Quorvale Pellora Duo"},  // 38
    {0x51270227u, 0x001u, "Quorvale Pellora Quad"},  // 39
    {0x51280228u, 0x100u, "Quorvale Pellora 4K"},  // 40
    {0x51290229u, 0x000u, "Quorvale Ristane"},  // 41
    {0x512A022Au, 0x001u, "Quorvale Ristane Duo"},  // 42
    {0x512B022Bu, 0x001u, "Quorvale Ristane Quad"},  // 43
    {0x512C022Cu, 0x100u, "Quorvale Ristane 4K"},  // 44
    {0x512D022Du, 0x000u, "Quorvale Cauldry"},  // 45
    {0x512E022Eu, 0x001u, "Quorvale Cauldry Duo"},  // 46
    {0x512F022Fu, 0x001u, "Quorvale Cauldry Quad"},  // 47
    {0x51300230u, 0x100u, "Quorvale Cauldry 4K"},  // 48
    {0x51310231u, 0x000u, "Quorvale Wenmark"},  // 49
    {0x51320232u, 0x001u, "Quorvale Wenmark Duo"},  // 50
    {0x51330233u, 0x001u, "Quorvale Wenmark Quad"},  // 51
    {0x51340234u, 0x100u, "Quorvale Wenmark 4K"},  // 52
    {0x51350235u, 0x000u, "Quorvale Zephane"},  // 53
    {0x51360236u, 0x001u, "Quorvale Zephane Duo"},  // 54
    {0x51370237u, 0x001u, "Quorvale Zephane Quad"},  // 55
    {0x51380238u, 0x100u, "Quorvale Zephane 4K"},  // 56
    {0x51390239u, 0x000u, "Quorvale Hollivar"},  // 57
    {0x513A023Au, 0x001u, "Quorvale Hollivar Duo"},  // 58
    {0x513B023Bu, 0x001u, "Quorvale Hollivar Quad"},  // 59
    {0x513C023Cu, 0x100u, "Quorvale Hollivar 4K"},  // 60
    {0x513D023Du, 0x000u, "Quorvale Drennic"},  // 61
    {0x513E023Eu, 0x001u, "Quorvale Drennic Duo"},  // 62
    {0x513F023Fu, 0x001u, "Quorvale Drennic Quad"},  // 63
    {0x51400240u, 0x100u, "Quorvale Drennic 4K"},  // 64
    {0x51410241u, 0x000u, "Quorvale Ambrel"},  // 65
    {0x51420242u, 0x001u, "Quorvale Ambrel Duo"},  // 66
    {0x51430243u, 0x001u, "Quorvale Ambrel Quad"},  // 67
    {0x51440244u, 0x100u, "Quorvale Ambrel 4K"},  // 68
    {0x51450245u, 0x000u, "Quorvale Fossane"},  // 69
    {0x51460246u, 0x001u, "Quorvale Fossane Duo"},  // 70
    {0x51470247u, 0x001u, "Quorvale Fossane Quad"},  // 71
    {0x51480248u, 0x100u, "Quorvale Fossane 4K"},  // 72
    {0x51490249u, 0x000u, "Quorvale Ilvery"},  // 73
    {0x514A024Au, 0x001u, "Quorvale Ilvery Duo"},  // 74
    {0x514B024Bu, 0x001u, "Quorvale Ilvery Quad"},  // 75
    {0x514C024Cu, 0x100u, "Quorvale Ilvery 4K"},  // 76
    {0x00000000u, 0x000u, "Quorvale"},  // 77: reserved
    {0x00000000u, 0x000u, "Quorvale"},  // 78: reserved
    {0x00000000u, 0x000u, "Quorvale"},  // 79: reserved
};
