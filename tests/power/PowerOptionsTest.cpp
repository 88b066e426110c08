#include <gtest/gtest.h>

#include "app/JobReaders.h"

namespace {

zel::PowerJob read(std::vector<std::pair<std::string, std::string>> values) {
    zel::PowerJob job;
    EXPECT_FALSE(zel::readPowerJob(zel::ParseResult(std::move(values)), &job));
    return job;
}

}  // namespace

// A DUT that never leaves or never comes back ends the step unless the
// script asked for no limit.
TEST(PowerOptions, WaitsForTheDutAreFiniteUnlessZeroIsAsked) {
    const zel::PowerJob defaults = read({{"diskid", "1"}, {"pwrctrl", "ugsd"}});
    EXPECT_GT(defaults.offTimeoutSeconds, 0);
    EXPECT_GT(defaults.onTimeoutSeconds, 0);
    const zel::PowerJob unlimited = read({{"pwroffto", "0"}, {"pwronto", "0"}});
    EXPECT_EQ(unlimited.offTimeoutSeconds, 0);
    EXPECT_EQ(unlimited.onTimeoutSeconds, 0);
    const zel::PowerJob given = read({{"pwroffto", "2.5"}, {"pwronto", "7"}});
    EXPECT_EQ(given.offTimeoutSeconds, 2.5);
    EXPECT_EQ(given.onTimeoutSeconds, 7);
}
