#include "service/devices/capture/DeltacastFormat.h"

#include <gmock/gmock.h>

#include "tests/service/devices/support/CaptureFormats.h"

namespace tarn::service::devices {

using device_tree::DeviceNode;
using device_tree::Property;
using test::DeltacastConfig;

class DeltacastFormatTest : public testing::Test {
  protected:
    void set(const std::string& property, const std::string& value) {
        node.addProperty({property, Property::Type::Text, value});
    }
    bool read() { return readDeltacastConfig(node, config, error); }

    DeviceNode node = test::ingestNode("7");
    DeltacastConfig config;
    std::string error = "from before";
};

TEST_F(DeltacastFormatTest, BecomesTheWordsOfTheCommandLine) {
    const auto format = toFormat(test::progressive720());
    EXPECT_EQ(format.pixelFormat, "rgb24");
    EXPECT_EQ(format.inputList, "1 2 ");
    EXPECT_EQ(format.frameOffsetList, "0 -1 ");
    EXPECT_EQ(format.lineCount, 720U);
    EXPECT_EQ(format.fieldMode, "p");
    EXPECT_EQ(format.frameRate, 50U);
}

TEST_F(DeltacastFormatTest, WithoutContentIsTheFormatOfUnknownValues) {
    const auto format = toFormat(DeltacastConfig());
    EXPECT_EQ(format.pixelFormat, "uyvy422_8");
    EXPECT_EQ(format.inputList, "");
    EXPECT_EQ(format.frameOffsetList, "");
    EXPECT_EQ(format.lineCount, 1080U);
    EXPECT_EQ(format.fieldMode, "i");
    EXPECT_EQ(format.frameRate, 60U);
}

TEST_F(DeltacastFormatTest, HasAWordForEachValue) {
    DeltacastConfig each;
    const std::vector<std::uint32_t> rates = {23976, 24, 25, 2997, 30, 50, 5994, 60};
    for (int i = 0; i < 8; ++i) {
        each.set_frame_rate(static_cast<DeltacastConfig::FrameRate>(i + 1));
        EXPECT_EQ(toFormat(each).frameRate, rates[static_cast<std::size_t>(i)]);
    }
    const std::vector<std::uint32_t> lines = {488, 576, 720, 1080};
    for (int i = 0; i < 4; ++i) {
        each.set_line_count(static_cast<DeltacastConfig::LineCount>(i + 1));
        EXPECT_EQ(toFormat(each).lineCount, lines[static_cast<std::size_t>(i)]);
    }
    each.set_field_mode(DeltacastConfig::SEGMENTED);
    EXPECT_EQ(toFormat(each).fieldMode, "psf");
    each.set_field_mode(DeltacastConfig::INTERLACED);
    EXPECT_EQ(toFormat(each).fieldMode, "i");
    each.set_pixel_format(DeltacastConfig::UYVY422_8);
    EXPECT_EQ(toFormat(each).pixelFormat, "uyvy422_8");
}

TEST_F(DeltacastFormatTest, AValueThatThisBuildDoesNotKnowIsTheUnknownOne) {
    DeltacastConfig later;
    const std::string rateNumber9 = {4 << 3, 9};
    ASSERT_TRUE(later.ParsePartialFromString(rateNumber9));
    EXPECT_EQ(toFormat(later).frameRate, 60U);
}

TEST_F(DeltacastFormatTest, IsReadFromTheProperties) {
    EXPECT_TRUE(read()) << error;
    EXPECT_EQ(error, "");
    EXPECT_EQ(config.SerializeAsString(), test::progressive720().SerializeAsString());
}

TEST_F(DeltacastFormatTest, IsReadBackFromEachWord) {
    set("PixelFormat", "uyvy422_8");
    for (const std::string lines : {"488", "576", "720", "1080"}) {
        set("LineCount", lines);
        for (const std::string mode : {"i", "p", "psf"}) {
            set("FieldMode", mode);
            for (const std::string rate : {"23976", "24", "25", "2997", "30", "50", "5994", "60"}) {
                set("FrameRate", rate);
                ASSERT_TRUE(read()) << error;
                const auto format = toFormat(config);
                EXPECT_EQ(std::to_string(format.lineCount), lines);
                EXPECT_EQ(format.fieldMode, mode);
                EXPECT_EQ(std::to_string(format.frameRate), rate);
                EXPECT_EQ(format.pixelFormat, "uyvy422_8");
            }
        }
    }
}

TEST_F(DeltacastFormatTest, NamesThePropertyThatIsMissing) {
    node = DeviceNode("ingest", "ingest", device_tree::DeviceClass::Capture);
    const std::vector<std::pair<std::string, std::string>> properties = {
        {"PixelFormat", "rgb24"}, {"LineCount", "720"}, {"FieldMode", "p"},
        {"FrameRate", "50"},      {"ChannelList", "1"}, {"ChannelFrameOffset", "0"}};
    for (const auto& [name, value] : properties) {
        EXPECT_FALSE(read());
        EXPECT_EQ(error, "Could not find property " + name);
        set(name, value);
    }
    EXPECT_TRUE(read());
}

TEST_F(DeltacastFormatTest, NamesTheValueThatMakesNoSense) {
    for (const std::string name : {"PixelFormat", "LineCount", "FieldMode", "FrameRate"}) {
        node = test::ingestNode("7");
        set(name, "12x");
        EXPECT_FALSE(read());
        EXPECT_EQ(error, "Could not interpret \"" + name + "\" property value: 12x");
        EXPECT_EQ(config.ByteSizeLong(), 0U);
    }
}

TEST_F(DeltacastFormatTest, RefusesListsThatAreNone) {
    for (const std::string list : {"1 x", "-1", "1.5", "4294967296"}) {
        set("ChannelList", list);
        EXPECT_FALSE(read()) << list;
        EXPECT_EQ(error, "Invalid property");
    }
    set("ChannelList", "1 2");
    set("ChannelFrameOffset", "0 1 2");
    EXPECT_FALSE(read()) << "an offset too many";
    EXPECT_EQ(error, "Invalid property");
}

TEST_F(DeltacastFormatTest, AChannelWithoutAnOffsetHasNone) {
    set("ChannelList", "3, 5");
    set("ChannelFrameOffset", "-2");
    ASSERT_TRUE(read()) << error;
    ASSERT_EQ(config.inputs_size(), 2);
    EXPECT_EQ(config.inputs(0).frame_offset(), -2);
    EXPECT_EQ(config.inputs(1).channel(), 5U);
    EXPECT_EQ(config.inputs(1).frame_offset(), 0);
}

TEST_F(DeltacastFormatTest, WithoutChannelsHasNoInputs) {
    set("ChannelList", "");
    set("ChannelFrameOffset", "");
    ASSERT_TRUE(read()) << error;
    EXPECT_EQ(config.inputs_size(), 0);
}

}  // namespace tarn::service::devices
