// Readers on several threads: the path's locked lazy rebuild, and planes read
// together once built. Each thread's results equal those of one thread.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <thread>
#include <vector>

#include "ZelPathPlane.h"
#include "path_reference.h"

namespace {

using path_test::P3;

// Runs work(k) on `count` threads released together.
template <class Work>
void RunTogether(int count, Work work)
{
    std::atomic<bool> go{false};
    std::vector<std::thread> threads;
    for (int k = 0; k < count; ++k)
        threads.emplace_back([&, k] {
            while (!go.load()) std::this_thread::yield();
            work(k);
        });
    go = true;
    for (auto& t : threads) t.join();
}

TEST(PathThreads, ConcurrentReadersShareOneRebuild)
{
    ZelPath path;
    ZelPath single;
    for (int round = 0; round < 20; ++round) {
        const std::vector<P3> points = path_test::Spiral(10 + round);
        path.SetPoints(points);  // edits happen while no reader runs
        single.SetPoints(points);
        const auto& expected = single.GetSplineCurveObject();
        std::vector<const ZelSplineCurve<P3>*> seen(8);
        std::vector<P3> middle(8);
        RunTogether(8, [&](int k) {
            seen[k] = &path.GetSplineCurveObject();
            middle[k] = seen[k]->Evaluate(0.5);
        });
        for (int k = 0; k < 8; ++k) {
            EXPECT_EQ(seen[k], &path.GetSplineCurveObject());
            EXPECT_EQ(std::memcmp(&middle[k], &middle[0], sizeof(P3)), 0);
        }
        EXPECT_EQ(path.GetSplineCurveObject().GetResampledPoints().size(), expected.GetResampledPoints().size());
        EXPECT_EQ(std::memcmp(path.GetSplineCurveObject().GetResampledPoints().data(),
                              expected.GetResampledPoints().data(), expected.GetResampledPoints().size() * sizeof(P3)),
                  0);
    }
}

TEST(PathThreads, PlanesReadTogether)
{
    ZelPath path;
    path.SetPoints(path_test::Spiral(30));
    ZelPathPlane planes;
    planes.SetPath(&path);
    ASSERT_TRUE(planes.UpdatePlaneData(0.4f, 2.0, 0.002, {0, 0, 1}));
    const ZelPathPlane& reader = planes;
    std::vector<ZelPlaneData> expected;
    for (int i = 0; i <= 1000; ++i) expected.push_back(reader.GetPlaneData(i / 1000.0f));
    std::vector<int> mismatches(4, 0);
    RunTogether(4, [&](int k) {
        for (int i = 0; i <= 1000; ++i) {
            const ZelPlaneData p = reader.GetPlaneData(i / 1000.0f);
            mismatches[k] += std::memcmp(&p, &expected[i], sizeof p) != 0;
            mismatches[k] += reader.GetDiameter(i / 1000.0f) != expected[i].diameter;
        }
    });
    EXPECT_EQ(mismatches, std::vector<int>(4, 0));
}

}  // namespace
