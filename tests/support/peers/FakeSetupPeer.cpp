#include "tests/support/peers/FakeSetupPeer.h"

#include "platform/socket/Socket.h"

namespace tarn::test {

FakeSetupPeer::FakeSetupPeer(const std::string& endpoint, google::protobuf::Message& request,
                             const google::protobuf::Message* reply) {
    auto socket = std::make_shared<socket::Socket>("Fake setup peer", socket::ClosePolicy::Flush);
    socket->createAndConnect(socket::Protocol::Reply, socket::SocketEndpoint::FromString(endpoint),
                             0);
    done = std::async(std::launch::async, [socket, &request, reply] {
               std::string error;
               if (socket->poll(10000, error) != 0) {
                   return false;
               }
               socket->receiveProtoBuf(&request, 1 << 20);
               if (reply != nullptr) {
                   socket->sendProtoBuf(reply);
               }
               return true;
           }).share();
}

FakeSetupPeer::~FakeSetupPeer() {
    done.wait();
}

bool FakeSetupPeer::gotRequest() {
    return done.get();
}

}  // namespace tarn::test
