// The rows of the sniffer table as they are at load: encoding, sniffed as, usual line breaks, enabled, -, matched.
// The DOS rows are sniffed as the Mac encoding of the same script; line breaks alone tell the two apart.
// clang-format off
{kCFStringEncodingUnicode,          0,                              JVLineBreakTypeLF,   0, {}, 0},
{kCFStringEncodingUTF8,             0,                              JVLineBreakTypeLF,   0, {}, 0},
{kCFStringEncodingMacJapanese,      kCFStringEncodingMacJapanese,   JVLineBreakTypeCR,   0, {}, 0},
{kCFStringEncodingDOSJapanese,      kCFStringEncodingMacJapanese,   JVLineBreakTypeCRLF, 0, {}, 0},
{kCFStringEncodingISO_2022_JP,      kCFStringEncodingISO_2022_JP,   JVLineBreakTypeLF,   0, {}, 0},
{kCFStringEncodingEUC_JP,           kCFStringEncodingEUC_JP,        JVLineBreakTypeLF,   0, {}, 0},
{kCFStringEncodingMacChineseTrad,   kCFStringEncodingMacChineseTrad,JVLineBreakTypeCR,   0, {}, 0},
{kCFStringEncodingDOSChineseTrad,   kCFStringEncodingMacChineseTrad,JVLineBreakTypeCRLF, 0, {}, 0},
{kCFStringEncodingEUC_TW,           kCFStringEncodingEUC_TW,        JVLineBreakTypeLF,   0, {}, 0},
{kCFStringEncodingBig5,             kCFStringEncodingBig5,          JVLineBreakTypeLF,   0, {}, 0},
{kCFStringEncodingMacKorean,        kCFStringEncodingMacKorean,     JVLineBreakTypeCR,   0, {}, 0},
{kCFStringEncodingDOSKorean,        kCFStringEncodingMacKorean,     JVLineBreakTypeCRLF, 0, {}, 0},
{kCFStringEncodingISO_2022_KR,      kCFStringEncodingISO_2022_KR,   JVLineBreakTypeLF,   0, {}, 0},
{kCFStringEncodingEUC_KR,           kCFStringEncodingEUC_KR,        JVLineBreakTypeLF,   0, {}, 0},
{kCFStringEncodingMacChineseSimp,   kCFStringEncodingMacChineseSimp,JVLineBreakTypeCR,   0, {}, 0},
{kCFStringEncodingDOSChineseSimplif,kCFStringEncodingMacChineseSimp,JVLineBreakTypeCRLF, 0, {}, 0},
{kCFStringEncodingEUC_CN,           kCFStringEncodingEUC_CN,        JVLineBreakTypeLF,   0, {}, 0},
// The terminator, every byte 0xFF.
{0xFFFFFFFF, 0xFFFFFFFF, -1, 0xFF, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}, -1},
    // clang-format on
