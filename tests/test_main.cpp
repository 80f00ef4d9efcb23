#include <gtest/gtest.h>

#include "LyThreadPool.h"
#include "test_support.h"

namespace {

// Every test starts from the same random sequence, so a failure reproduces
// when the test is run alone.
class ReseedListener : public ::testing::EmptyTestEventListener {
    void OnTestStart(const ::testing::TestInfo&) override { lytest::Rng().seed(12345); }
};

}  // namespace

int main(int argc, char** argv) {
    ::testing::InitGoogleTest(&argc, argv);
    ::testing::UnitTest::GetInstance()->listeners().Append(new ReseedListener);
    const int rc = RUN_ALL_TESTS();
    LyThreadPool::Exit();
    return rc;
}
