#include <gtest/gtest.h>

#include "host/SystemInfo.h"

TEST(SystemInfo, ProcessorTypeFromUpperCasedName) {
    EXPECT_EQ(zel::processorTypeFromName("Intel(R) Core(TM) i7-8700 CPU @ 3.20GHz"), zel::kProcessorIntel);
    EXPECT_EQ(zel::processorTypeFromName("genuine intel processor"), zel::kProcessorIntel);
    EXPECT_EQ(zel::processorTypeFromName("AMD Ryzen 7 5800X 8-Core Processor"), zel::kProcessorAmd);
    EXPECT_EQ(zel::processorTypeFromName("amd epyc"), zel::kProcessorAmd);
    EXPECT_EQ(zel::processorTypeFromName("Apple M2"), zel::kProcessorUnknown);
    EXPECT_EQ(zel::processorTypeFromName(""), zel::kProcessorUnknown);
}
