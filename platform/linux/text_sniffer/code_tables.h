/// The tables of code_tables.cpp, which generate_code_tables.py makes. What each holds and why: docs/encodings.md.
#pragma once

#include "platform/linux/text_sniffer/CodeTable.h"

namespace jv::sniffing {

inline constexpr int kEucTwPlaneCount = 15;

extern const CodeTable kShiftJis;
extern const CodeTable kEucJp;
extern const CodeTable kEucJpCodeSet3;
extern const CodeTable kJisX0208;
extern const CodeTable kJisX0212;
extern const CodeTable kJisX0213Plane1;
extern const CodeTable kJisX0213Plane2;
extern const CodeTable kMacChineseTrad;
extern const CodeTable kBig5;
extern const CodeTable kEucTw;
extern const CodeTable kEucTwPlanes[kEucTwPlaneCount];
extern const CodeTable kMacKorean;
extern const CodeTable kKsX1001;
extern const CodeTable kMacChineseSimp;
extern const CodeTable kGb2312;

}  // namespace jv::sniffing
