// Each whole-file writer of the module with each step of its write made to
// fail in turn: the previous file stays byte for byte, no temporary file is
// left, and the owner's own failure line is logged or printed.

#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "panelsys/XMLVerify.h"
#include "support/savecases.h"

namespace {

using savecases::EStep;

struct FaultCase {
    savecases::CaseInfo info;
    EStep step;
};

std::vector<FaultCase> allFaultCases()
{
    std::vector<FaultCase> cases;
    for (const savecases::CaseInfo& info : savecases::allCases())
        for (EStep step : savecases::stepsOf(info)) cases.push_back({info, step});
    return cases;
}

std::string faultCaseName(const ::testing::TestParamInfo<FaultCase>& param)
{
    std::string step = WholeFileWriter::stepName(param.param.step);
    step[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(step[0])));
    return std::string(param.param.info.name) + "_Fails" + step;
}

// Clears the injected fault however the test ends.
struct FaultScope {
    explicit FaultScope(EStep step) { WholeFileWriter::failStepForTesting(step); }
    ~FaultScope() { WholeFileWriter::failStepForTesting(EStep::kNone); }
    FaultScope(const FaultScope&) = delete;
    FaultScope& operator=(const FaultScope&) = delete;
};

class SaveFaultTest : public ::testing::TestWithParam<FaultCase> {};

class SaveWithoutFaultTest : public ::testing::TestWithParam<savecases::CaseInfo> {};

std::string caseName(const ::testing::TestParamInfo<savecases::CaseInfo>& param) { return param.param.name; }

} // namespace

TEST_P(SaveFaultTest, PreviousFileStaysWholeAndTheOwnerReportsTheFailure)
{
    const FaultCase& fault = GetParam();
    std::unique_ptr<savecases::SaveCase> c = savecases::makeCase(fault.info.name);
    ASSERT_TRUE(c);
    c->prepare();
    const std::string previous = savecases::bytesOf(c->target());
    ASSERT_FALSE(previous.empty()) << c->target();

    std::string printed;
    {
        FaultScope scope(fault.step);
        ::testing::internal::CaptureStdout();
        c->change();
        printed = ::testing::internal::GetCapturedStdout();
    }

    const std::string now = savecases::bytesOf(c->target());
    if (fault.step == EStep::kSyncDirectory) {
        // The rename is done when the folder is synced: the file is the new
        // one, whole and (where the file is signed) signed.
        EXPECT_NE(now, previous);
        if (fault.info.isSigned) {
            EXPECT_TRUE(XMLVerify().verifySignature(oskit::Path(c->target().string())));
        }
    } else {
        EXPECT_EQ(now, previous);
    }
    EXPECT_TRUE(savecases::reported(*c, printed)) << "missing: " << c->failureLine() << "\nprinted: " << printed;
    EXPECT_EQ(savecases::leftovers(c->target()), std::vector<std::string>{});
}

INSTANTIATE_TEST_SUITE_P(EveryWriterEveryStep, SaveFaultTest, ::testing::ValuesIn(allFaultCases()), faultCaseName);

// The same change without a fault rewrites the file and reports nothing, so
// that the tests above show the fault and not a change that never saves.
TEST_P(SaveWithoutFaultTest, ChangeRewritesTheFileSilently)
{
    std::unique_ptr<savecases::SaveCase> c = savecases::makeCase(GetParam().name);
    ASSERT_TRUE(c);
    c->prepare();
    const std::string previous = savecases::bytesOf(c->target());
    ::testing::internal::CaptureStdout();
    c->change();
    const std::string printed = ::testing::internal::GetCapturedStdout();
    EXPECT_NE(savecases::bytesOf(c->target()), previous);
    EXPECT_FALSE(savecases::reported(*c, printed)) << c->failureLine();
    if (GetParam().isSigned) {
        EXPECT_TRUE(XMLVerify().verifySignature(oskit::Path(c->target().string())));
    }
    EXPECT_EQ(savecases::leftovers(c->target()), std::vector<std::string>{});
}

INSTANTIATE_TEST_SUITE_P(EveryWriter, SaveWithoutFaultTest, ::testing::ValuesIn(savecases::allCases()), caseName);
