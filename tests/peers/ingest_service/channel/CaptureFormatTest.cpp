#include "peers/ingest_service/channel/CaptureFormat.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace tarn::peers::ingest_service {

TEST(CaptureFormatTest, OfTheInterfaceStandardsExist) {
    EXPECT_EQ(problemOf({"uyvy422_8", 1080, "i", 25}), "");
    EXPECT_EQ(problemOf({"rgb24", 1080, "psf", 23976}), "");
    EXPECT_EQ(problemOf({"rgb24", 1080, "p", 60}), "");
    EXPECT_EQ(problemOf({"rgb24", 720, "p", 5994}), "");
    EXPECT_EQ(problemOf({"uyvy422_8", 576, "i", 25}), "");
    EXPECT_EQ(problemOf({"uyvy422_8", 488, "i", 2997}), "");
}

TEST(CaptureFormatTest, OfNoStandardDoesNotExistAndIsNamed) {
    EXPECT_EQ(problemOf({"uyvy422_8", 1080, "i", 60}), "there is no capture format 1080i60");
    EXPECT_EQ(problemOf({"uyvy422_8", 720, "i", 25}), "there is no capture format 720i25");
    EXPECT_EQ(problemOf({"uyvy422_8", 1080, "psf", 50}), "there is no capture format 1080psf50");
    EXPECT_EQ(problemOf({"uyvy422_8", 576, "i", 2997}), "there is no capture format 576i2997");
    EXPECT_EQ(problemOf({"uyvy422_8", 0, "", 0}), "there is no capture format 00");
    EXPECT_EQ(problemOf({"UYVY", 1080, "i", 25}),
              "there is no pixel format \"UYVY\": only uyvy422_8 and rgb24");
}

TEST(CaptureFormatTest, IsExactInTheTermsOfTheMediaLibrary) {
    EXPECT_EQ(capsOf({"uyvy422_8", 1080, "i", 25}),
              "video/x-raw,format=UYVY,width=1920,height=1080,framerate=25/1,"
              "interlace-mode=interleaved");
    EXPECT_EQ(capsOf({"rgb24", 720, "p", 5994}),
              "video/x-raw,format=RGB,width=1280,height=720,framerate=60000/1001,"
              "interlace-mode=progressive");
    EXPECT_EQ(capsOf({"rgb24", 1080, "psf", 24}),
              "video/x-raw,format=RGB,width=1920,height=1080,framerate=24/1,"
              "interlace-mode=progressive");
    EXPECT_THROW(capsOf({"rgb24", 1080, "x", 24}), std::invalid_argument);
}

TEST(CaptureFormatTest, KnowsWhatItsFieldsAreTakenFrom) {
    EXPECT_EQ(fieldCapsOf({"rgb24", 1080, "i", 2997}),
              "video/x-raw,format=UYVY,width=1920,height=1080,framerate=60000/1001,"
              "interlace-mode=progressive");
    EXPECT_THROW(fieldCapsOf({"rgb24", 1080, "i", 60}), std::invalid_argument);
}

TEST(CaptureFormatTest, KnowsHowLongAFrameLasts) {
    using std::chrono::nanoseconds;
    EXPECT_EQ(frameTimeOf({"rgb24", 720, "p", 50}), nanoseconds(20'000'000));
    EXPECT_EQ(frameTimeOf({"rgb24", 488, "i", 2997}), nanoseconds(33'366'666));
    EXPECT_THROW(frameTimeOf({"rgb24", 1080, "i", 60}), std::invalid_argument);
}

TEST(CaptureFormatTest, KnowsTheSizeOfAFrame) {
    EXPECT_EQ(bytesPerFrame({"uyvy422_8", 488, "i", 2997}), 720U * 488 * 2);
    EXPECT_EQ(bytesPerFrame({"rgb24", 1080, "p", 50}), 1920U * 1080 * 3);
}

TEST(CaptureFormatTest, HasAName) {
    EXPECT_EQ(nameOf({"rgb24", 1080, "psf", 23976}), "1080psf23976 rgb24");
}

}  // namespace tarn::peers::ingest_service
