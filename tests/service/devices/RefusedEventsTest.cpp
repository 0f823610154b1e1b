// Events that nobody could read in a tree are kept out of it.
#include <gmock/gmock.h>

#include "tests/service/devices/support/DeviceEventsFixture.h"

namespace tarn::service::devices {

using test::camera;
using test::deepCamera;
using test::Event;
using test::largeCamera;
using test::refusedCamera;
using testing::ElementsAre;
using testing::IsEmpty;

class RefusedEventsTest : public DeviceEventsFixture {
  protected:
    std::vector<device_tree::DeviceNode> devices() {
        return bed.devices.getTree().lock()->getSubDevices();
    }

    /// The lines that say that something was refused.
    std::vector<std::string> lines() {
        std::vector<std::string> found;
        for (const auto& line : bed.log.lines()) {
            if (line.find(" is refused: ") != std::string::npos) {
                found.push_back(line);
            }
        }
        return found;
    }

    static constexpr auto tooDeep = "more than 64 levels deep";
    static constexpr auto tooLarge = "event of more than 8388608 bytes";
    static constexpr std::size_t limit = 8U << 20U;
};

TEST_F(RefusedEventsTest, ADeviceOf64LevelsIsLetInAndOneOf65IsShownInError) {
    send(test::addEvent(deepCamera("cam1", 64)));
    settle();
    EXPECT_THAT(devices(), ElementsAre(deepCamera("cam1", 64)));
    send(test::changeEvent(deepCamera("cam1", 65)));
    EXPECT_THAT(settle(), ElementsAre("4 cam1 class 2"));
    EXPECT_THAT(devices(), ElementsAre(refusedCamera("cam1", tooDeep)));
}

TEST_F(RefusedEventsTest, ADeviceThatIsTooDeepForTheParserIsShownInErrorAndNamedOnce) {
    send(test::addEvent(camera("cam1")));
    send(test::changeEvent(deepCamera("cam1", 97)));
    send(test::changeEvent(deepCamera("cam1", 2000)));
    EXPECT_THAT(settle(), ElementsAre("2 cam1 class 2", "4 cam1 class 2"));
    EXPECT_THAT(devices(), ElementsAre(refusedCamera("cam1", tooDeep)));
    EXPECT_THAT(lines(), ElementsAre("ERROR DeviceEventListener > Device cam1 is refused: "
                                     "more than 64 levels deep"));
    EXPECT_FALSE(bed.log.contains("Failed receiving message"));
}

TEST_F(RefusedEventsTest, ADeviceThatWasNotThereAppearsInError) {
    send(test::addEvent(deepCamera("cam1", 97)));
    EXPECT_THAT(settle(), ElementsAre("2 cam1 class 2"));
    EXPECT_THAT(devices(), ElementsAre(refusedCamera("cam1", tooDeep)));
}

TEST_F(RefusedEventsTest, AnEventThatIsTooLargeIsRefusedAlsoWhenItIsTooLargeToBeReadAtAll) {
    for (const std::size_t bytes : {limit, std::size_t{11} << 20U, std::size_t{40} << 20U}) {
        const auto id = "cam" + std::to_string(bytes);
        send(test::addEvent(largeCamera(id, bytes)));
        EXPECT_THAT(settle(), ElementsAre("2 " + id + " class 2"));
        EXPECT_THAT(devices(), ElementsAre(refusedCamera(id, tooLarge)));
        send(test::removeEvent(id));
        settle();
    }
}

TEST_F(RefusedEventsTest, AnEventAsLargeAsMayBeIsLetIn) {
    const auto overhead =
        test::addEvent(largeCamera("cam1", limit - 100)).ByteSizeLong() - limit + 100;
    const auto device = largeCamera("cam1", limit - overhead);
    ASSERT_EQ(test::addEvent(device).ByteSizeLong(), limit);
    send(test::addEvent(device));
    settle();
    EXPECT_THAT(devices(), ElementsAre(device));
}

TEST_F(RefusedEventsTest, WhatARefusedDeviceTellsOfItsStatusDoesNotMakeItLookWell) {
    send(test::changeEvent(deepCamera("cam1", 97)));
    Event event;
    event.set_type(Event::STATUS_CHANGE);
    auto& change = *event.MutableExtension(tarn::proto::monitoring::StatusChangeEvent::base)
                        ->add_global_status_changes();
    change.set_device_id("cam1");
    change.mutable_status()->set_level(tarn::proto::monitoring::GlobalStatus::OK);
    send(event);
    send(test::framesEvent("cam1", 4));
    settle();
    EXPECT_THAT(devices(), ElementsAre(refusedCamera("cam1", tooDeep)));
    EXPECT_FALSE(bed.log.contains("Could not update"));

    send(test::changeEvent(camera("cam1")));
    send(event);
    settle();
    ASSERT_THAT(devices(), testing::SizeIs(1));
    EXPECT_EQ(devices().front().getGlobalStatus().level, device_tree::GlobalStatus::Level::Ok);
}

TEST_F(RefusedEventsTest, ADeviceThatIsFitAgainIsWhatItSays) {
    send(test::changeEvent(deepCamera("cam1", 97)));
    send(test::changeEvent(camera("cam1", 3)));
    settle();
    EXPECT_THAT(devices(), ElementsAre(camera("cam1", 3)));
    send(test::changeEvent(deepCamera("cam1", 97)));
    send(test::removeEvent("cam1"));
    settle();
    EXPECT_THAT(devices(), IsEmpty());
    EXPECT_THAT(lines(), testing::SizeIs(1));  // within a minute
}

TEST_F(RefusedEventsTest, StatusesThatAreTooManyPutTheDeviceOfTheFirstInError) {
    send(test::addEvent(deepCamera("cam1", 3)));
    auto event = test::framesEvent("cam1.3", 1);
    event.MutableExtension(tarn::proto::monitoring::StatusChangeEvent::base)
        ->add_named_status_changes()
        ->set_device_id(std::string(limit, 'x'));
    send(event);
    EXPECT_THAT(settle(), ElementsAre("2 cam1 class 2", "4 cam1 class 2"));
    EXPECT_THAT(devices(), ElementsAre(refusedCamera("cam1", tooLarge)));
}

TEST_F(RefusedEventsTest, WhatNamesNoDeviceOrNoneThatIsThereIsSaidAndChangesNothing) {
    Event nameless = test::eventOfType(Event::STATUS_CHANGE);
    nameless.mutable_unknown_fields()->AddLengthDelimited(150, std::string(limit, 'x'));
    send(nameless);
    EXPECT_THAT(settle(), IsEmpty());
    EXPECT_THAT(lines(),
                ElementsAre("ERROR DeviceEventListener > A device that is not named is refused: "
                            "event of more than 8388608 bytes"));
    auto unknown = test::framesEvent("cam9", 1);
    unknown.mutable_unknown_fields()->AddLengthDelimited(150, std::string(limit, 'x'));
    send(unknown);
    EXPECT_THAT(settle(), IsEmpty());
    EXPECT_THAT(devices(), IsEmpty());
}

}  // namespace tarn::service::devices
