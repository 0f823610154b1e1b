#include <gmock/gmock.h>

#include <random>

#include "platform/device_tree/persistent/PersistentSet.h"

namespace tarn::device_tree {

namespace {

int comparisons = 0;

struct Counting {
    static int compare(int a, int b) {
        ++comparisons;
        return a - b;
    }
};

using Set = PersistentSet<int, Counting>;

std::vector<int> numbers(int from, int to) {
    std::vector<int> result;
    for (int i = from; i < to; ++i) {
        result.push_back(i);
    }
    return result;
}

/// Comparisons of the dearest look-up. One of n elements needs at least log2(n).
int dearestLookUp(const Set& set) {
    int dearest = 0;
    set.forEach([&](int element) {
        comparisons = 0;
        set.find(element);
        dearest = std::max(dearest, comparisons);
    });
    return dearest;
}

class PersistentSetCostTest : public testing::Test {
  protected:
    PersistentSetCostTest() { std::shuffle(shuffled.begin(), shuffled.end(), std::mt19937(7)); }

    static constexpr int count = 10000;
    static constexpr int bound =
        22;  // log2(count) and half as much again, and one to see that it is equal
    std::vector<int> shuffled = numbers(0, count);
};

}  // namespace

TEST_F(PersistentSetCostTest, StaysLowWhenFilledInOrder) {
    Set set;
    for (int i = 0; i < count; ++i) {
        set.insert(i);
    }
    EXPECT_LE(dearestLookUp(set), bound);
}

TEST_F(PersistentSetCostTest, StaysLowWhenFilledAtRandom) {
    Set set;
    for (const int i : shuffled) {
        set.insert(i);
    }
    EXPECT_LE(dearestLookUp(set), bound);
}

TEST_F(PersistentSetCostTest, StaysLowWhenFilledFromBothEnds) {
    Set set;
    for (int i = 0; i < count / 2; ++i) {
        set.insert(i);
        set.insert(count - i);
    }
    EXPECT_LE(dearestLookUp(set), bound);
}

TEST_F(PersistentSetCostTest, StaysLowWhenEmptiedFromOneEnd) {
    Set set = Set::ofSorted(numbers(0, 2 * count));
    for (int i = 0; i < count; ++i) {
        set.erase(i);
    }
    EXPECT_LE(dearestLookUp(set), bound);
}

TEST_F(PersistentSetCostTest, StaysLowWhenUnitedWithSmallOnes) {
    Set set;
    for (int i = 0; i < count; i += 10) {
        const int from = (i * 7) % count;
        set.unite(Set::ofSorted(numbers(from, from + 10)));
    }
    ASSERT_EQ(set.size(), count);
    EXPECT_LE(dearestLookUp(set), bound);
}

TEST_F(PersistentSetCostTest, StaysLowWhenPartsAreTakenOut) {
    Set set = Set::ofSorted(numbers(0, 3 * count));
    set.subtract(Set::ofSorted(numbers(100, count)));
    set.subtract(Set::ofSorted(numbers(count + 100, 2 * count)));
    EXPECT_LE(dearestLookUp(set), bound);
}

TEST_F(PersistentSetCostTest, OfADifferenceDoesNotGrowWithWhatIsShared) {
    const Set before = Set::ofSorted(numbers(0, count));
    Set after = before;
    after.erase(1234);
    after.insert(count);

    comparisons = 0;
    int visited = 0;
    Set::visitBoth(before, after, [&](const int*, const int*) { return ++visited > 0; });

    EXPECT_LE(visited, 100);
    EXPECT_LE(comparisons, 500);
}

TEST_F(PersistentSetCostTest, OfUnitingIsLowWhenOneIsSmall) {
    Set set = Set::ofSorted(numbers(0, count));
    comparisons = 0;
    set.unite(Set::ofSorted({5, 5000, 9999}));
    EXPECT_LE(comparisons, 150);
}

}  // namespace tarn::device_tree
