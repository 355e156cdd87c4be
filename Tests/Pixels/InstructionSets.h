#pragma once

#include <gtest/gtest.h>
#include <hwy/targets.h>

#include <cstdint>
#include <string>

namespace lumenwhirl::testing {

/// Runs on each instruction set that this processor has.
class OnEachInstructionSet : public ::testing::TestWithParam<std::int64_t> {
protected:
    void SetUp() override { use(GetParam()); }
    void TearDown() override { use(0); }

private:
    static void use(std::int64_t target) {
        hwy::SetSupportedTargetsForTest(target);
        hwy::GetChosenTarget().DeInit();
    }
};

inline std::string targetName(const ::testing::TestParamInfo<std::int64_t>& target) {
    return hwy::TargetName(target.param);
}

}  // namespace lumenwhirl::testing
