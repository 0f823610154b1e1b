#include "platform/storage_client/frames/Worker.h"

#include <string_view>

#include "proto/storage_wire.pb.h"

namespace tarn::storage_client {

namespace {

// More than is kept of it, which the server decides.
constexpr std::size_t longestName = 256;

}  // namespace

ServerConnection::Answer attachWorker(ServerConnection& connection,
                                      ServerConnection::Request& request, std::int64_t track,
                                      const char* name) {
    if (name == nullptr) {
        throw Failure(TARN_STORAGE_ERROR_ARGUMENT, "There is no worker's name");
    }
    request.add_track_id(track);
    request.set_worker_name(std::string(std::string_view(name).substr(0, longestName)));
    auto answer = connection.ask(request);
    if (answer.track_size() != 1) {
        throw Failure(TARN_STORAGE_ERROR_PROTOCOL, "The server does not tell what the track is");
    }
    return answer;
}

}  // namespace tarn::storage_client
