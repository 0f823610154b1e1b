// Whatever devices do, what the service tells of them is true.
#include <gmock/gmock.h>

#include <map>
#include <random>

#include "service/devices/DeviceController.h"
#include "tests/service/devices/support/DeviceMessages.h"
#include "tests/service/devices/support/FakeDevice.h"
#include "tests/service/devices/support/MonitoringBed.h"

namespace tarn::service::devices {

using device_tree::DeviceNode;
using test::camera;
using test::Event;

namespace {

/// What the tree and the events must be, if the events that it makes up are all that happens.
class Model {
  public:
    struct State {
        DeviceNode tree;
        std::size_t told;  ///< events that subscribers have been told by then
    };

    explicit Model(unsigned seed) : random(seed) { note(); }

    /// Makes something happen; the event that brings it about.
    Event step() {
        const auto id = "cam" + std::to_string(draw(12));
        const auto event = happen(id, draw(4));
        note();
        return event;
    }

    std::vector<State> states;
    std::vector<std::string> told;

  private:
    unsigned draw(unsigned count) {
        return std::uniform_int_distribution<unsigned>(0, count - 1)(random);
    }

    Event happen(const std::string& id, unsigned kind) {
        const bool exists = devices.contains(id);
        const auto frames = draw(1000);
        if (kind == 0 && exists) {
            devices.at(id) = camera(id, frames);
            return test::framesEvent(id, frames);
        }
        if (kind == 1) {
            told.push_back("3 " + id + " class " + (exists ? "2" : "0"));
            devices.erase(id);
            return draw(2) == 0 ? test::removeEvent(id) : test::shutdownEvent(id);
        }
        devices.insert_or_assign(id, camera(id, frames));
        if (kind == 2) {
            told.push_back("4 " + id + " class 2");
            return test::changeEvent(camera(id, frames));
        }
        told.push_back("2 " + id + " class 2");
        return test::addEvent(camera(id, frames));
    }

    void note() {
        DeviceNode tree("System", "System", device_tree::DeviceClass::System);
        std::string error;
        for (const auto& [id, node] : devices) {
            tree.addSubDevice(std::make_shared<DeviceNode>(node), true, error);
        }
        states.push_back({tree, told.size()});
    }

    std::mt19937 random;
    std::map<std::string, DeviceNode> devices;
};

}  // namespace

class ComingAndGoingTest : public testing::TestWithParam<unsigned> {};

TEST_P(ComingAndGoingTest, EveryBatchShowsTheTreeAsItWasAfterTheLastOfItsEvents) {
    Model model(GetParam());
    test::MonitoringBed bed({});
    for (int i = 0; i < 600; ++i) {
        const auto event = model.step();
        ASSERT_TRUE(DeviceController::notifyEvent(&event));
    }
    const auto last = test::addEvent(camera("last"));
    ASSERT_TRUE(DeviceController::notifyEvent(&last));

    std::vector<std::string> told;
    std::size_t state = 0;
    while (true) {
        const auto batch = bed.batches.nextFilled();
        const auto events = test::describeEvents(batch);
        told.insert(told.end(), events.begin(), events.end());
        if (!told.empty() && told.back() == "2 last class 2") {
            break;
        }
        const DeviceNode shown(batch.device_tree());
        while (state < model.states.size() &&
               (model.states[state].told != told.size() || !(model.states[state].tree == shown))) {
            ++state;
        }
        ASSERT_LT(state, model.states.size()) << "no such tree after " << told.size() << " events";
    }
    told.pop_back();
    EXPECT_EQ(told, model.told);
    std::string error;
    auto end = bed.tree();
    EXPECT_TRUE(end.removeSubDevice("last", true, error));
    EXPECT_TRUE(end == model.states.back().tree);
}

TEST_P(ComingAndGoingTest, TheTreeBecomesWhatTheDevicesSay) {
    std::mt19937 random(GetParam());
    std::map<std::string, std::unique_ptr<test::FakeDevice>> devices;
    std::map<std::string, DeviceNode> alive;
    std::vector<std::string> endpoints;
    for (const std::string id : {"cam1", "cam2", "cam3"}) {
        devices[id] = std::make_unique<test::FakeDevice>(camera(id));
        endpoints.push_back(devices[id]->endpoint());
    }
    test::MonitoringBed bed(endpoints);
    for (int i = 0; i < 12; ++i) {
        auto& [id, device] = *std::next(devices.begin(), static_cast<int>(random() % 3));
        if (alive.contains(id) && random() % 2 == 0) {
            device->die();
            alive.erase(id);
        } else {
            const auto node = camera(id, random());
            device->describeAs(node);
            if (alive.insert_or_assign(id, node).second) {
                device->begin();
            }
        }
        std::vector<DeviceNode> wanted;
        for (const auto& [name, node] : alive) {
            wanted.push_back(node);
        }
        bed.awaitTree([&wanted](const DeviceNode& tree) { return tree.getSubDevices() == wanted; });
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, ComingAndGoingTest, testing::Values(1U, 2U, 3U));

}  // namespace tarn::service::devices
