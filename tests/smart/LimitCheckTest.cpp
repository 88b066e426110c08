#include <gtest/gtest.h>

#include <map>

#include "core/ErrorCodes.h"
#include "smart/LimitCheck.h"

using zel::SmartBytes;

namespace {

SmartBytes le(uint64_t value, size_t width) {
    SmartBytes bytes(width);
    for (size_t i = 0; i < width; ++i) bytes[i] = static_cast<uint8_t>(value >> (8 * i));
    return bytes;
}
SmartBytes text(const std::string& s) { return SmartBytes(s.begin(), s.end()); }

enum Answer { kConflict, kPass, kUnreadable };  // unreadable: a conflict and kSmartParse

struct Case {
    std::string limit;
    SmartBytes current;
    SmartBytes reference;
    int answer;
};

void expectAnswers(const std::vector<Case>& cases, bool isString) {
    const std::map<uint32_t, SmartBytes> others{{9, le(7, 6)}, {12, {}}};
    const zel::AttributeLookup lookup = [&](uint32_t n) {
        const auto found = others.find(n);
        return found == others.end() ? nullptr : &found->second;
    };
    for (const Case& c : cases) {
        zel::setLastError(0);
        const int answer = zel::checkLimit(c.limit, isString, {c.current, c.reference, lookup});
        EXPECT_EQ(answer, c.answer == kPass ? zel::kLimitPass : zel::kLimitConflict) << c.limit;
        EXPECT_EQ(zel::lastError(), c.answer == kUnreadable ? zel::err::kSmartParse : 0u) << c.limit;
    }
}

}  // namespace

TEST(LimitCheck, NumericConditions) {
    const SmartBytes none;
    expectAnswers({
        {"val>=10 && val<=20", le(21, 6), none, kConflict},   {"val>=10 && val<=20", le(10, 6), none, kPass},
        {"diff==1 || diff==2", le(12, 6), le(10, 6), kPass}, {"diff==1 || diff==2", le(13, 6), le(10, 6), kConflict},
        {"diff==6", le(5, 6), none, kPass},  // no reference reads -1
        {"val==-1 && #==-1", none, none, kPass},
        // operators found in the order ==, !=, >=, >, <=, <
        {"val>5", le(5, 1), none, kConflict},  {"val<5", le(5, 1), none, kConflict},
        {"val!=5", le(4, 1), none, kPass},     {" val >= 5 ", le(5, 1), none, kPass},
        // arithmetic in double precision
        {"val==2+3*4^2", le(50, 1), none, kPass}, {"val==(2+3)*4", le(20, 1), none, kPass},
        {"val==2^3^2", le(512, 2), none, kPass},  {"val==10/4*2", le(5, 1), none, kPass},
        {"val/2>2", le(5, 1), none, kPass},       {"val-6==-2^2", le(2, 1), none, kPass},
        {"val==3*-2+12", le(6, 1), none, kPass},  {"val*2^-1==0--3", le(6, 1), none, kPass},
        // numbers in the number syntax, 32-bit like the rest of the file
        {"val==0x1F && val==1Fh && val==11111b && val==31 && val+4065==4k", le(31, 1), none, kPass},
        {"val<=99999999999", le(3000000000, 6), none, kConflict},
        // readings keep their 64 bits
        {"val>2147483647", le(5000000000, 6), none, kPass},
        {"val>0", le(UINT64_MAX, 8), none, kPass},
        {"val[63:56]==8 && val[7:0]==1", {1, 2, 3, 4, 5, 6, 7, 8, 9}, none, kPass},  // the first 8 bytes
        // bit fields
        {"val[15:8]==0x12 && val[3:0]==4 && val[4]==1", le(0x1234, 2), none, kPass},
        {"diff[7:0]==0xFF", le(0, 2), le(1, 2), kPass},
        {"val[3:7]==0", le(0xFF, 1), none, kPass},
        // other attributes of the reading
        {"#9==7 && #==val && #10==-1 && #12==-1", le(3, 6), none, kPass},
        {"val+#9==10", le(3, 6), none, kPass},
    }, false);
}

// Text has == and != only; padding and what follows a NUL do not count.
TEST(LimitCheck, StringConditionsCompareText) {
    const SmartBytes none;
    expectAnswers({
        {"val==ABC", text("ABC  "), none, kPass},
        {"val==AB", text("ABC"), none, kConflict},
        {"val==ABC", {'A', 'B', 'C', 0, 'x'}, none, kPass},
        {"val==1.0 || val==1.1", text("1.1"), none, kPass},
        {"val>ABC", text("ABC"), none, kUnreadable},
    }, true);
}

// A condition that does not read conflicts and leaves the parse error.
TEST(LimitCheck, UnreadableConditions) {
    std::vector<Case> cases;
    for (const char* limit : {"val", "val=5", "val>=", ">=5", "val>=(1", "val>=1 2", "val>=1 &&", "val>=$1",
                              "val[3:0==1", "val>1 && val<3 || val==9"})
        cases.push_back({limit, le(5, 6), {}, kUnreadable});
    cases.push_back({"val>=" + std::string(70, '(') + "1" + std::string(70, ')'), le(5, 6), {}, kUnreadable});
    expectAnswers(cases, false);
}
