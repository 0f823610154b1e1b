#include "tests/service/api/ApiBed.h"

namespace tarn::test {

ApiBed::ApiBed(const std::string& sections)
    : ServiceBed(sections),
      server("", {workflows, proxy, configuration, devices, shell(),
                  [this] { return now += clockStep.load(); }, [this] { return wallClock.load(); },
                  dictionary::ComponentsDictionary(folder.write(
                      "dictionary.xml",
                      "<ComponentsDictionary><Component name=\"a\" version=\"1\" kind=\"source\">"
                      "first</Component></ComponentsDictionary>\n")),
                  [this] { ++reachable; }, [this] { ++rounds; }}) {}

void ApiBed::start() {
    start(endpoint);
}

void ApiBed::start(const std::string& requestsEndpoint) {
    const auto requests = socket::SocketEndpoint::FromString(requestsEndpoint);
    workflows.init(requests, socket::SocketEndpoint::FromString("ipc:///tmp/events"));
    server.start("TarnService");
    client.createAndConnect(socket::Protocol::Request, requests, 5000);
}

void ApiBed::send(const ApiToServiceRequest& request) {
    client.sendProtoBuf(&request);
}

ServiceToApiReply ApiBed::ask(const ApiToServiceRequest& request) {
    send(request);
    ServiceToApiReply reply;
    client.receiveProtoBuf(&reply, 1 << 24);
    return reply;
}

ServiceToApiReply ApiBed::ask(ApiToServiceRequest::ApiToServiceRequestType type) {
    ApiToServiceRequest request;
    request.set_type(type);
    return ask(request);
}

void ApiBed::settle() {
    ask(ApiToServiceRequest::GET_INFO);
}

}  // namespace tarn::test
