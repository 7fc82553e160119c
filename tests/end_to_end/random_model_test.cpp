#include "soak/model/random_model.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace orvix::tests {
namespace {

class RandomModelTest : public testing::TestWithParam<Placement> {};

INSTANTIATE_TEST_SUITE_P(Driver, RandomModelTest, testing::ValuesIn(kEveryPlacement),
                         [](const auto& it) { return NameOf(it.param); });

TEST_P(RandomModelTest, EveryTaskEndsOnceWithItsOwnAnswer) {
    for (const std::uint32_t seed : {1, 2, 3}) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        soak::RandomModel model(GetParam(), seed);
        model.Run(10000);
        EXPECT_THAT(model.Counts().FirstViolations, testing::IsEmpty());
        EXPECT_GT(model.Counts().Succeeded, model.Counts().Tasks / 4);
        EXPECT_GT(model.Counts().Linked, 0U);
    }
}

}  // namespace
}  // namespace orvix::tests
