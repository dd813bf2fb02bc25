// Readers on several threads ask a freshly edited path for its curve at
// once: the locked lazy rebuild hands all of them the one curve, equal to
// the curve one thread builds.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <thread>
#include <vector>

#include "ZelPath.h"
#include "path_reference.h"

namespace {

using path_test::P3;

TEST(PathThreads, ConcurrentReadersShareOneRebuild)
{
    ZelPath path, single;
    for (int round = 0; round < 20; ++round) {
        path.SetPoints(path_test::Spiral(10 + round));  // edits happen while no reader runs
        single.SetPoints(path_test::Spiral(10 + round));
        const std::vector<P3>& expected = single.GetSplineCurveObject().GetResampledPoints();
        std::vector<const ZelSplineCurve<P3>*> seen(8);
        std::vector<P3> middle(8);
        std::atomic<bool> go{false};
        std::vector<std::thread> readers;
        for (int k = 0; k < 8; ++k)
            readers.emplace_back([&, k] {
                while (!go.load()) std::this_thread::yield();
                seen[k] = &path.GetSplineCurveObject();
                middle[k] = seen[k]->Evaluate(0.5);
            });
        go = true;
        for (auto& t : readers) t.join();
        for (int k = 0; k < 8; ++k) {
            EXPECT_EQ(seen[k], &path.GetSplineCurveObject());
            EXPECT_EQ(std::memcmp(&middle[k], &middle[0], sizeof(P3)), 0);
        }
        const std::vector<P3>& built = path.GetSplineCurveObject().GetResampledPoints();
        ASSERT_EQ(built.size(), expected.size());
        EXPECT_EQ(std::memcmp(built.data(), expected.data(), expected.size() * sizeof(P3)), 0);
    }
}

}  // namespace
