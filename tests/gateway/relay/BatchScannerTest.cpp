#include "gateway/relay/BatchScanner.h"

#include <google/protobuf/stubs/logging.h>
#include <gtest/gtest.h>

#include <random>

#include "tests/gateway/Batches.h"

namespace tarn::gateway {

using test::ServiceEventBatch;

namespace {

bool parses(const std::string& bytes) {
    ServiceEventBatch batch;
    return batch.ParsePartialFromString(bytes);
}

std::string mutated(std::string bytes, std::mt19937& random) {
    const auto below = [&](std::size_t end) { return random() % end; };
    for (std::size_t changes = 1 + below(4); changes > 0 && !bytes.empty(); --changes) {
        const std::size_t at = below(bytes.size());
        switch (below(4)) {
            case 0:
                bytes[at] = static_cast<char>(below(256));
                break;
            case 1:
                bytes.erase(at, 1 + below(8));
                break;
            case 2:
                bytes.insert(at, 1, static_cast<char>(below(256)));
                break;
            default:
                bytes[at] = static_cast<char>(bytes[at] ^ static_cast<char>(1U << below(8)));
        }
    }
    return bytes;
}

ServiceEventBatch chain(int depth) {
    ServiceEventBatch batch;
    auto* node = batch.mutable_device_tree();
    for (int i = 1; i < depth; ++i) {
        node = node->add_sub_devices();
    }
    return batch;
}

}  // namespace

TEST(BatchScannerTest, AnEmptyBatchHasNoTree) {
    const auto scanned = scanBatch("");
    ASSERT_TRUE(scanned);
    EXPECT_EQ(scanned->tree, "");
}

TEST(BatchScannerTest, FindsTheTreeAndNothingElse) {
    const auto batch = test::fullTree(10);
    const auto bytes = batch.SerializeAsString();
    const auto scanned = scanBatch(bytes);
    ASSERT_TRUE(scanned);
    ServiceEventBatch tree;
    ASSERT_TRUE(tree.ParseFromArray(scanned->tree.data(), static_cast<int>(scanned->tree.size())));
    EXPECT_EQ(tree.events_size(), 0);
    EXPECT_EQ(tree.device_tree().SerializeAsString(), batch.device_tree().SerializeAsString());
}

TEST(BatchScannerTest, ATreeBehindTheEventsIsFoundToo) {
    auto events = test::deviceAdded("a");
    events.clear_device_tree();
    const auto tree = test::treeOnly("a").SerializeAsString();
    const auto bytes = events.SerializeAsString() + tree;
    const auto scanned = scanBatch(bytes);
    ASSERT_TRUE(scanned);
    EXPECT_EQ(scanned->tree, tree);
}

TEST(BatchScannerTest, AnEmptyTreeIsATree) {
    ServiceEventBatch batch;
    batch.mutable_device_tree();
    const auto bytes = batch.SerializeAsString();
    EXPECT_EQ(scanBatch(bytes)->tree, bytes);
}

TEST(BatchScannerTest, FieldsThatAreNotKnownYetArePassedOver) {
    const std::string later("\xa2\x06\x01x\xa8\x06\x05\xad\x06zzzz\xb1\x06zzzzzzzz", 23);
    ASSERT_TRUE(parses(later));
    EXPECT_TRUE(scanBatch(later + test::treeOnly("a").SerializeAsString()));
}

TEST(BatchScannerTest, RefusesTheGatewaysOwnFields) {
    for (const char* field : {"\x18\x01", "\x20\x01", "\x2a\x01x", "\x30\x01"}) {
        EXPECT_FALSE(scanBatch(test::treeOnly("a").SerializeAsString() + field));
        EXPECT_FALSE(scanBatch(field));
    }
}

TEST(BatchScannerTest, RefusesTwoTrees) {
    const auto tree = test::treeOnly("a").SerializeAsString();
    EXPECT_FALSE(scanBatch(tree + tree));
}

TEST(BatchScannerTest, RefusesWhatIsCutOff) {
    auto bytes = test::treeOnly("a").SerializeAsString();
    bytes.pop_back();
    EXPECT_FALSE(scanBatch(bytes));
}

TEST(BatchScannerTest, RefusesATreeWithGarbageInIt) {
    EXPECT_FALSE(scanBatch(std::string("\x0a\x05garba", 7)));
}

// Or all subscribers would be sent what none of them can read.
TEST(BatchScannerTest, RefusesNumbersThatAreLongerThanParsersReadThem) {
    using namespace std::string_literals;
    const auto longLength = "\x80\x80\x80\x80\x80\0"s;
    const auto inNode = [](const std::string& bytes) {
        return "\x0a"s + static_cast<char>(bytes.size()) + bytes;
    };
    for (const auto& bytes :
         {"\x0a" + longLength, "\x8a" + longLength + "\0"s, inNode("\x0a" + longLength),
          inNode("\x3a" + longLength), inNode("\xba" + longLength + "\0"s)}) {
        EXPECT_FALSE(parses(bytes));
        EXPECT_FALSE(scanBatch(bytes));
    }
    const auto stillRead = "\x0a\x80\x80\x80\x80\0"s;
    EXPECT_TRUE(parses(stillRead));
    EXPECT_TRUE(scanBatch(stillRead));
}

TEST(BatchScannerTest, GoesAsDeepAsParsersDo) {
    EXPECT_TRUE(scanBatch(chain(90).SerializeAsString()));
    const auto tooDeep = chain(200).SerializeAsString();
    EXPECT_FALSE(parses(tooDeep));
    EXPECT_FALSE(scanBatch(tooDeep));
    EXPECT_FALSE(scanBatch(chain(2000).SerializeAsString()));
}

TEST(BatchScannerTest, GoesToTheSameLevelAsParsersDo) {
    google::protobuf::LogSilencer quiet;
    for (int depth = 90; depth < 110; ++depth) {
        auto batch = chain(depth);
        EXPECT_EQ(scanBatch(batch.SerializeAsString()).has_value(),
                  parses(batch.SerializeAsString()))
            << depth;
        auto* last = batch.mutable_device_tree();
        while (last->sub_devices_size() > 0) {
            last = last->mutable_sub_devices(0);
        }
        last->mutable_global_status();
        EXPECT_EQ(scanBatch(batch.SerializeAsString()).has_value(),
                  parses(batch.SerializeAsString()))
            << depth << " with a status";
    }
}

TEST(BatchScannerTest, LooksIntoWhateverAnEventTells) {
    google::protobuf::LogSilencer quiet;
    for (unsigned field = 99; field <= 103; ++field) {
        const std::string garbage("\x03\x0a\x05x", 4);  // a text that is cut off, with its length
        const std::string event = {static_cast<char>((field << 3U | 2U) | 0x80U),
                                   static_cast<char>(field << 3U >> 7U)};
        const auto inside = event + garbage;
        const auto batch = std::string("\x12") + static_cast<char>(inside.size()) + inside;
        EXPECT_EQ(scanBatch(batch).has_value(), parses(batch)) << field;
        EXPECT_EQ(parses(batch), field < 100 || field > 102) << field;
    }
}

TEST(BatchScannerTest, WhatItAcceptsParses) {
    google::protobuf::LogSilencer quiet;
    std::mt19937 random(1);  // the same bytes in every run
    const auto bytes = test::fullTree(3).SerializeAsString();
    int accepted = 0;
    int refused = 0;
    for (int i = 0; i < 20000; ++i) {
        const auto candidate = mutated(bytes, random);
        if (const auto scanned = scanBatch(candidate)) {
            ++accepted;
            ASSERT_TRUE(parses(candidate)) << i;
            ASSERT_TRUE(parses(std::string(scanned->tree))) << i;
        } else {
            ++refused;
        }
    }
    EXPECT_GT(accepted, 1000);
    EXPECT_GT(refused, 1000);
}

namespace {

/// A change somewhere in the tree, sub-devices that come and go included.
void change(proto::monitoring::DeviceNode& node, std::mt19937& random) {
    auto& below = *node.mutable_sub_devices();
    switch (random() % (below.empty() ? 2 : 4)) {
        case 0:
            node.set_name(std::string(random() % 300, 'n'));
            return;
        case 1:
            below.Add()->set_id(std::to_string(random()));
            below.SwapElements(below.size() - 1, static_cast<int>(random() % below.size()));
            return;
        case 2:
            below.DeleteSubrange(static_cast<int>(random() % below.size()), 1);
            return;
        default:
            change(below[static_cast<int>(random() % below.size())], random);
    }
}

}  // namespace

TEST(BatchScannerTest, AcceptsTheNextTreesOfOneThatItKnows) {
    std::mt19937 random(1);  // the same trees in every run
    auto batch = test::fullTree(5);
    auto known = batch.SerializeAsString();
    for (int i = 0; i < 500; ++i) {
        for (auto changes = random() % 5; changes > 0; --changes) {
            change(*batch.mutable_device_tree(), random);
        }
        const auto bytes = batch.SerializeAsString();
        const auto scanned = scanBatch(bytes, scanBatch(known)->tree);
        ASSERT_TRUE(scanned) << i;
        ASSERT_EQ(scanned->tree, scanBatch(bytes)->tree) << i;
        known = bytes;
    }
}

TEST(BatchScannerTest, KnowingATreeDoesNotChangeWhatIsAccepted) {
    google::protobuf::LogSilencer quiet;
    std::mt19937 random(2);
    const auto bytes = test::fullTree(3).SerializeAsString();
    const auto known = std::string(scanBatch(bytes)->tree);
    int refused = 0;
    for (int i = 0; i < 20000; ++i) {
        const auto candidate = mutated(bytes, random);
        const auto plain = scanBatch(candidate);
        const auto knowing = scanBatch(candidate, known);
        ASSERT_EQ(plain.has_value(), knowing.has_value()) << i;
        ASSERT_TRUE(!plain || plain->tree == knowing->tree) << i;
        refused += plain ? 0 : 1;
    }
    EXPECT_GT(refused, 1000);
}

TEST(BatchScannerTest, AKnownDeepTreeDoesNotLetADeeperOneThrough) {
    const auto known = chain(99).SerializeAsString();
    ASSERT_TRUE(scanBatch(known));
    EXPECT_TRUE(scanBatch(known, known));
    EXPECT_FALSE(scanBatch(chain(200).SerializeAsString(), known));
}

TEST(BatchScannerTest, FindsWhatTheServiceCallsTheBatch) {
    auto batch = test::deviceAdded("a");
    const auto without = batch.SerializeAsString();
    EXPECT_EQ(scanBatch(without)->number, 0U);
    EXPECT_EQ(scanBatch(without)->service, "");
    batch.set_service_sequence(300);
    batch.set_service_instance("service");
    const auto with = batch.SerializeAsString();
    EXPECT_EQ(scanBatch(with)->number, 300U);
    EXPECT_EQ(scanBatch(with)->service, "service");
    EXPECT_FALSE(scanBatch(with)->tree.empty());
}

TEST(BatchScannerTest, ATreeThatIsSaidToBeAskedForIsNotTheServices) {
    auto batch = test::treeOnly("a");
    batch.set_asked_for(true);
    EXPECT_FALSE(scanBatch(batch.SerializeAsString()));
}

}  // namespace tarn::gateway
