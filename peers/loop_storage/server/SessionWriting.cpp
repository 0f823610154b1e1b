// What a writer sends.
#include <boost/asio/post.hpp>
#include <exception>
#include <optional>

#include "peers/loop_storage/server/Session.h"
#include "proto/storage_wire.pb.h"

namespace tarn::peers::loop_storage {

namespace {

bool isInSharedMemory(const Request& request, std::uint32_t payloadSize) {
    return request.has_offset() && payloadSize == 0;
}

std::optional<std::uint32_t> checksumOf(const Request& request) {
    return request.has_checksum() ? std::optional(request.checksum()) : std::nullopt;
}

}  // namespace

Session::Next Session::write(const Request& request, std::uint32_t payloadSize) {
    const bool isShared = isInSharedMemory(request, payloadSize);
    const auto size = isShared ? writer->at(request.offset(), request.size()).size() : payloadSize;
    if (writer->mustWaitFor(size)) {
        reserveLater(request, payloadSize, size);
        return Next::Pause;
    }
    writer->begin(request.time_point(), size);
    return writeBegun(request, payloadSize);
}

// The whole frame, or what comes before its payload.
Session::Next Session::writeBegun(const Request& request, std::uint32_t payloadSize) {
    promise = promiseOf(request);
    writer->giveChecksum(checksumOf(request));
    if (isInSharedMemory(request, payloadSize)) {
        writer->write(writer->at(request.offset(), request.size()));
    }
    if (payloadSize == 0) {
        writer->commit();
        acknowledge(promise);
    }
    return next();
}

// Where the disk is waited for; nothing more of the client is looked at meanwhile.
void Session::reserveLater(const Request& request, std::uint32_t payloadSize, std::uint64_t size) {
    state = State::Answering;
    const auto& held = writer->held();
    storage.runSoon(held->track().syncs(), [self = shared_from_this(), held, request, payloadSize,
                                            size] {
        FrameInfo place;
        std::exception_ptr failure;
        try {
            place = held->track().reserve(request.time_point(), size);
        } catch (const std::exception&) {
            failure = std::current_exception();
        }
        boost::asio::post(self->stream.get_executor(),
                          self->handler([request, payloadSize, place, failure](Session& session) {
                              session.reserved(request, payloadSize, place, failure);
                          }));
    });
}

void Session::reserved(const Request& request, std::uint32_t payloadSize, const FrameInfo& place,
                       const std::exception_ptr& failure) {
    if (state != State::Answering || !writer) {
        return;
    }
    state = State::Receiving;
    noteInput();  // it could not send on
    try {
        if (failure) {
            std::rethrow_exception(failure);
        }
        writer->begun(place);
        writeBegun(request, payloadSize);
    } catch (const std::exception& refusal) {
        fail(refusal);
    }
    goOn();
}

}  // namespace tarn::peers::loop_storage
