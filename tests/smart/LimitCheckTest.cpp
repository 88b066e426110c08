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

struct Case {
    const char* limit;
    SmartBytes current;
    SmartBytes reference;
    bool pass;
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
        EXPECT_EQ(answer, c.pass ? zel::kLimitPass : zel::kLimitConflict) << c.limit;
        EXPECT_EQ(zel::lastError(), 0u) << c.limit;
    }
}

}  // namespace

TEST(LimitCheck, ReadingValuesAreLittleEndianUpToEightBytes) {
    EXPECT_EQ(zel::readingValue({}), -1);
    EXPECT_EQ(zel::readingValue({0x01, 0x02}), 0x0201);
    EXPECT_EQ(zel::readingValue({1, 2, 3, 4, 5, 6, 7, 8, 9}), 0x0807060504030201);
}

TEST(LimitCheck, NumericConditions) {
    const SmartBytes none;
    expectAnswers({
        {"val>=10 && val<=20", le(21, 6), none, false},
        {"val>=10 && val<=20", le(10, 6), none, true},
        {"diff==1 || diff==2", le(12, 6), le(10, 6), true},
        {"diff==1 || diff==2", le(13, 6), le(10, 6), false},
        {"diff==6", le(5, 6), none, true},  // no reference reads -1
        {"val==-1 && #==-1", none, none, true},
        // operators found in the order ==, !=, >=, >, <=, <
        {"val>5", le(5, 1), none, false},
        {"val<5", le(5, 1), none, false},
        {"val!=5", le(4, 1), none, true},
        {" val >= 5 ", le(5, 1), none, true},
        // arithmetic in double precision
        {"val==2+3*4^2", le(50, 1), none, true},
        {"val==(2+3)*4", le(20, 1), none, true},
        {"val==2^3^2", le(512, 2), none, true},
        {"val==10/4*2", le(5, 1), none, true},
        {"val/2>2", le(5, 1), none, true},
        {"val-6==-2^2", le(2, 1), none, true},
        {"val==3*-2+12", le(6, 1), none, true},
        {"val*2^-1==0--3", le(6, 1), none, true},
        // numbers in the number syntax, 32-bit like the rest of the file
        {"val==0x1F && val==1Fh && val==11111b && val==31 && val+4065==4k", le(31, 1), none, true},
        {"val<=99999999999", le(3000000000, 6), none, false},
        // readings keep their 64 bits
        {"val>2147483647", le(5000000000, 6), none, true},
        {"val>0", le(UINT64_MAX, 8), none, true},
        // bit fields
        {"val[15:8]==0x12 && val[3:0]==4 && val[4]==1", le(0x1234, 2), none, true},
        {"diff[7:0]==0xFF", le(0, 2), le(1, 2), true},
        {"val[3:7]==0", le(0xFF, 1), none, true},
        // other attributes of the reading
        {"#9==7 && #==val && #10==-1 && #12==-1", le(3, 6), none, true},
        {"val+#9==10", le(3, 6), none, true},
    }, false);
}

TEST(LimitCheck, StringConditionsCompareText) {
    const SmartBytes none;
    expectAnswers({
        {"val==ABC", text("ABC  "), none, true},
        {"val==AB", text("ABC"), none, false},
        {"val==ABC", {'A', 'B', 'C', 0, 'x'}, none, true},
        {"val==1.0 || val==1.1", text("1.1"), none, true},
    }, true);
}

TEST(LimitCheck, UnreadableConditionsConflictAndReportAParseError) {
    const SmartBytes current = le(5, 6);
    const std::string deep = "val>=" + std::string(70, '(') + "1" + std::string(70, ')');
    for (const std::string& limit : {std::string("val"), std::string("val=5"), std::string("val>="),
                                     std::string(">=5"), std::string("val>=(1"), std::string("val>=1 2"),
                                     std::string("val>=1 &&"), std::string("val>=$1"), std::string("val[3:0==1"),
                                     std::string("val>1 && val<3 || val==9"), deep}) {
        zel::setLastError(0);
        EXPECT_EQ(zel::checkLimit(limit, false, {current, {}, {}}), zel::kLimitConflict) << limit;
        EXPECT_EQ(zel::lastError(), zel::err::kSmartParse) << limit;
    }
    zel::setLastError(0);
    EXPECT_EQ(zel::checkLimit("val>ABC", true, {current, {}, {}}), zel::kLimitConflict) << "text has only == and !=";
    EXPECT_EQ(zel::lastError(), zel::err::kSmartParse);
}
