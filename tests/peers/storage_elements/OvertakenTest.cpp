// A player that its recording has gone over, with a real encoder and a real decoder.
#include <gmock/gmock.h>
#include <gst/gst.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <future>
#include <memory>
#include <mutex>
#include <vector>

#include "peers/storage_elements/FrameFormat.h"
#include "tests/peers/loop_storage/support/StorageClient.h"
#include "tests/peers/loop_storage/support/StorageProgram.h"
#include "tests/support/Eventually.h"

namespace tarn::test {
namespace {

using testing::IsEmpty;

constexpr int playedBefore = 5;
constexpr int playedAfter = 60;

/// What decoders complain about while this lives.
class Complaints {
  public:
    Complaints() {
        gst_debug_set_active(TRUE);
        gst_debug_set_threshold_for_name("libav", GST_LEVEL_WARNING);
        gst_debug_add_log_function(take, this, nullptr);
    }
    ~Complaints() { gst_debug_remove_log_function(take); }
    Complaints(const Complaints&) = delete;
    Complaints& operator=(const Complaints&) = delete;

    std::vector<std::string> list() const {
        const std::lock_guard lock(mutex);
        return lines;
    }

  private:
    static void take(GstDebugCategory* category, GstDebugLevel level, const gchar*, const gchar*,
                     gint, GObject*, GstDebugMessage* message, gpointer self) {
        const std::string name = gst_debug_category_get_name(category);
        if (level <= GST_LEVEL_WARNING && name.starts_with("libav")) {
            auto& complaints = *static_cast<Complaints*>(self);
            const std::lock_guard lock(complaints.mutex);
            complaints.lines.emplace_back(gst_debug_message_get(message));
        }
    }

    mutable std::mutex mutex;
    std::vector<std::string> lines;  // guarded by mutex
};

/// Plays a track; after a few buffers it stands still until it may go on.
class Player {
  public:
    explicit Player(const std::string& source)
        : pipeline(gst_parse_launch(
              (source + " name=source ! h264parse ! avdec_h264 max-threads=1 name=decoder ! "
                        "fakesink sync=false")
                  .c_str(),
              nullptr)) {
        probe("source", played);
        probe("decoder", decoded);
        gst_element_set_state(pipeline, GST_STATE_PLAYING);
    }
    ~Player() {
        goOn();
        gst_element_set_state(pipeline, GST_STATE_NULL);
        gst_object_unref(pipeline);
    }
    Player(const Player&) = delete;
    Player& operator=(const Player&) = delete;

    void goOn() {
        if (!released.exchange(true)) {
            release.set_value();
        }
    }
    std::size_t countPlayed() const { return flags().size(); }
    std::size_t countDecoded() const { return decodedFrames; }
    /// Of the buffers so far.
    std::vector<guint> flags() const {
        const std::lock_guard lock(mutex);
        return playedFlags;
    }

  private:
    void probe(const char* element, GstPadProbeCallback callback) {
        GstElement* const found = gst_bin_get_by_name(GST_BIN(pipeline), element);
        GstPad* const pad = gst_element_get_static_pad(found, "src");
        gst_pad_add_probe(pad, GST_PAD_PROBE_TYPE_BUFFER, callback, this, nullptr);
        gst_object_unref(pad);
        gst_object_unref(found);
    }
    static GstPadProbeReturn played(GstPad*, GstPadProbeInfo* info, gpointer self) {
        auto& player = *static_cast<Player*>(self);
        std::size_t count = 0;
        {
            const std::lock_guard lock(player.mutex);
            player.playedFlags.push_back(GST_BUFFER_FLAGS(GST_PAD_PROBE_INFO_BUFFER(info)));
            count = player.playedFlags.size();
        }
        if (count == playedBefore) {
            player.mayGoOn.wait();
        }
        return GST_PAD_PROBE_OK;
    }
    static GstPadProbeReturn decoded(GstPad*, GstPadProbeInfo*, gpointer self) {
        ++static_cast<Player*>(self)->decodedFrames;
        return GST_PAD_PROBE_OK;
    }

    std::promise<void> release;
    const std::shared_future<void> mayGoOn = release.get_future().share();
    std::atomic<bool> released = false;
    std::atomic<std::size_t> decodedFrames = 0;
    mutable std::mutex mutex;
    std::vector<guint> playedFlags;  // guarded by mutex
    GstElement* const pipeline;
};

struct OvertakenTest : testing::Test {
    OvertakenTest() {
        gst_init(nullptr, nullptr);
        GError* error = nullptr;
        GstPlugin* const plugin =
            gst_plugin_load_file(STORAGE_PLUGIN_FOLDER "/libhalden-tarn-storage-kln.so", &error);
        EXPECT_NE(plugin, nullptr) << (error != nullptr ? error->message : "");
        control.create(2'000'000);  // some 200 frames
    }

    std::string at() const { return " location=unix:" + server.socketPath() + " track=0"; }

    /// Groups of 50 frames.
    void record(int frames) {
        GstElement* const recording = gst_parse_launch(
            ("videotestsrc pattern=snow num-buffers=" + std::to_string(frames) +
             " ! video/x-raw,width=64,height=64,framerate=25/1 ! x264enc key-int-max=50 threads=1 "
             "speed-preset=ultrafast ! video/x-h264,stream-format=byte-stream,alignment=au ! "
             "tarnstoragesink" +
             at())
                .c_str(),
            nullptr);
        gst_element_set_state(recording, GST_STATE_PLAYING);
        GstBus* const bus = gst_element_get_bus(recording);
        GstMessage* const end = gst_bus_timed_pop_filtered(
            bus, 30 * GST_SECOND, static_cast<GstMessageType>(GST_MESSAGE_EOS | GST_MESSAGE_ERROR));
        ASSERT_NE(end, nullptr);
        EXPECT_EQ(GST_MESSAGE_TYPE(end), GST_MESSAGE_EOS);
        gst_message_unref(end);
        gst_object_unref(bus);
        gst_element_set_state(recording, GST_STATE_NULL);
        gst_object_unref(recording);
    }

    /// Whether the ring begins in the middle of a group.
    bool oldestNeedsOthers() const {
        StorageClient reader(server.socketPath());
        EXPECT_TRUE(reader.beReader(0));
        EXPECT_EQ(reader.read(), 1);
        const auto frame = peers::storage_elements::decodeFrame(reader.bytes);
        return frame && (frame->head.flags & peers::storage_elements::deltaUnit) != 0;
    }

    StorageProgram server;
    StorageClient control{server.socketPath()};
};

TEST_F(OvertakenTest, ADecoderGoesOnWithAKeyFrameAndComplainsOfNothing) {
    record(40);
    const Complaints complaints;
    Player player("tarnstoragesrc" + at());
    ASSERT_TRUE(eventually([&] { return player.countPlayed() == playedBefore; }));
    const auto recorded = control.end(0);
    while (control.beginning(0) <= recorded) {
        record(120);
    }
    ASSERT_TRUE(oldestNeedsOthers());
    player.goOn();
    ASSERT_TRUE(eventually([&] { return player.countPlayed() >= playedAfter; }));
    // One may be on its way between the two.
    EXPECT_TRUE(eventually([&] { return player.countDecoded() + 1 >= player.countPlayed(); }))
        << player.countPlayed() - player.countDecoded() << " were of no use to the decoder";

    const auto flags = player.flags();
    const auto gap = std::find_if(flags.begin() + 1, flags.end(), [](guint buffer) {
        return (buffer & GST_BUFFER_FLAG_DISCONT) != 0;
    });
    ASSERT_NE(gap, flags.end()) << "it was not overtaken";
    EXPECT_EQ(*gap & GST_BUFFER_FLAG_DELTA_UNIT, 0U) << "it goes on in the middle of a group";
    EXPECT_THAT(complaints.list(), IsEmpty());
}

}  // namespace
}  // namespace tarn::test
