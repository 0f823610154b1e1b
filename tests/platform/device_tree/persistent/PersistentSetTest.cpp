#include "platform/device_tree/persistent/PersistentSet.h"

#include <gmock/gmock.h>

#include <map>
#include <random>

namespace tarn::device_tree {

namespace {

struct Item {
    int key = 0;
    int value = 0;
    friend bool operator==(const Item&, const Item&) = default;
};

struct ByKey {
    static int compare(const Item& a, const Item& b) { return a.key - b.key; }
    static int compare(int a, const Item& b) { return a - b.key; }
};

using Set = PersistentSet<Item, ByKey>;
using Model = std::map<int, int>;

std::vector<Item> itemsOf(const Set& set) {
    std::vector<Item> result;
    set.forEach([&](const Item& item) { result.push_back(item); });
    return result;
}

std::vector<Item> itemsOf(const Model& model) {
    std::vector<Item> result;
    for (const auto& [key, value] : model) {
        result.push_back({key, value});
    }
    return result;
}

Set setOf(const Model& model) {
    return Set::ofSorted(itemsOf(model));
}

/// Every key where the two differ, as (value in a, value in b), -1 where it is absent.
std::map<int, std::pair<int, int>> differences(const Set& a, const Set& b) {
    std::map<int, std::pair<int, int>> result;
    Set::visitBoth(a, b, [&](const Item* inA, const Item* inB) {
        const std::pair<int, int> values(inA ? inA->value : -1, inB ? inB->value : -1);
        if (values.first != values.second) {
            result[inA ? inA->key : inB->key] = values;
        }
        return true;
    });
    return result;
}

std::map<int, std::pair<int, int>> differences(const Model& a, const Model& b) {
    std::map<int, std::pair<int, int>> result;
    for (const auto& [key, value] : a) {
        result[key] = {value, -1};
    }
    for (const auto& [key, value] : b) {
        result.try_emplace(key, -1, -1).first->second.second = value;
    }
    std::erase_if(result,
                  [](const auto& entry) { return entry.second.first == entry.second.second; });
    return result;
}

class RandomSetTest : public testing::TestWithParam<unsigned> {
  protected:
    int below(int limit) { return std::uniform_int_distribution<int>(0, limit - 1)(random); }

    Model randomModel(int limit) {
        Model result;
        for (int n = below(limit); n > 0; --n) {
            result[below(300)] = below(1000);
        }
        return result;
    }

    void change() {
        const int key = below(300);
        switch (below(12)) {
            case 0: {
                const Model other = randomModel(40);
                for (const auto& [otherKey, value] : other) {
                    model[otherKey] = value;
                }
                set.unite(setOf(other));
                break;
            }
            case 1: {
                const Model other = randomModel(40);
                for (const auto& entry : other) {
                    model.erase(entry.first);
                }
                set.subtract(setOf(other));
                break;
            }
            case 2:
            case 3:
            case 4:
            case 5:
                EXPECT_EQ(set.erase(key), model.erase(key) == 1);
                break;
            case 6:
                if (model.count(key) == 1) {
                    model[key] = set.writable(key).value = below(1000);
                }
                break;
            default:
                model[key] = below(1000);
                set.insert({key, model[key]});
        }
    }

    std::mt19937 random{GetParam()};
    Set set;
    Model model;
};

}  // namespace

TEST(PersistentSetTest, IsEmptyAtFirst) {
    const Set set;

    EXPECT_TRUE(set.empty());
    EXPECT_EQ(set.size(), 0U);
    EXPECT_EQ(set.find(1), nullptr);
    EXPECT_EQ(set.firstNotBefore(1), nullptr);
}

TEST(PersistentSetTest, ReplacesAnEqualElement) {
    Set set;
    set.insert({1, 10});
    set.insert({1, 11});

    EXPECT_THAT(itemsOf(set), testing::ElementsAre(Item{1, 11}));
    EXPECT_EQ(set.size(), 1U);
}

TEST(PersistentSetTest, FindsTheFirstElementThatIsNotBefore) {
    const Set set = Set::ofSorted({{1, 0}, {3, 0}, {5, 0}});

    EXPECT_EQ(set.firstNotBefore(0)->key, 1);
    EXPECT_EQ(set.firstNotBefore(3)->key, 3);
    EXPECT_EQ(set.firstNotBefore(4)->key, 5);
    EXPECT_EQ(set.firstNotBefore(6), nullptr);
}

TEST(PersistentSetTest, TakesTheOthersElementWhenUniting) {
    Set set = Set::ofSorted({{1, 0}, {2, 0}});
    set.unite(Set::ofSorted({{2, 1}, {3, 1}}));

    EXPECT_THAT(itemsOf(set), testing::ElementsAre(Item{1, 0}, Item{2, 1}, Item{3, 1}));
}

TEST(PersistentSetTest, LetsAVisitorEndTheVisit) {
    const Set a = Set::ofSorted({{1, 0}, {2, 0}, {3, 0}});
    int visited = 0;
    const auto visit = [&](const Item*, const Item*) { return ++visited < 2; };

    EXPECT_FALSE(Set::visitBoth(a, Set(), visit));
    EXPECT_EQ(visited, 2);
    visited = 0;
    EXPECT_FALSE(Set::visitBoth(Set(), a, visit));
    EXPECT_EQ(visited, 2);
}

TEST_P(RandomSetTest, AgreesWithAnOrdinaryMap) {
    for (int step = 0; step < 2000; ++step) {
        change();
        ASSERT_EQ(set.size(), model.size());
        const int key = below(300);
        const auto expected = model.lower_bound(key);
        const Item* found = set.firstNotBefore(key);
        ASSERT_EQ(found != nullptr, expected != model.end());
        ASSERT_TRUE(!found || (found->key == expected->first && found->value == expected->second));
        ASSERT_EQ(set.find(key) != nullptr, model.count(key) == 1);
    }
    EXPECT_EQ(itemsOf(set), itemsOf(model));
}

TEST_P(RandomSetTest, LeavesCopiesAsTheyWere) {
    std::vector<std::pair<Set, Model>> snapshots;
    for (int step = 0; step < 600; ++step) {
        change();
        if (below(3) == 0) {
            snapshots.emplace_back(set, model);
        }
    }
    for (const auto& [setThen, modelThen] : snapshots) {
        ASSERT_EQ(itemsOf(setThen), itemsOf(modelThen));
    }
}

TEST_P(RandomSetTest, TellsWhatDiffersFromAnEarlierCopy) {
    for (int round = 0; round < 100; ++round) {
        const Set setBefore = set;
        const Model modelBefore = model;
        for (int n = below(20); n > 0; --n) {
            change();
        }
        ASSERT_EQ(differences(setBefore, set), differences(modelBefore, model));
    }
}

TEST_P(RandomSetTest, TellsWhatDiffersFromAStranger) {
    for (int round = 0; round < 100; ++round) {
        const Model a = randomModel(200);
        const Model b = randomModel(200);
        ASSERT_EQ(differences(setOf(a), setOf(b)), differences(a, b));
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomSetTest, testing::Range(1U, 6U));

}  // namespace tarn::device_tree
