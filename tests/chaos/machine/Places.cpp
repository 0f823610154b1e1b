#include "tests/chaos/machine/Places.h"
#include "tests/system/harness/Installation.h"

namespace tarn::chaos {

namespace {

constexpr auto host = "127.0.0.1";

// Below the ports that connections get at their own end.
constexpr auto jobPorts =
    R"(<Resources><TcpPorts interface="127.0.0.1" from="30000" to="30999"/></Resources>)";

constexpr auto storageElements =
    "/opt/halden/halden-tarn-storage/lib64/libhalden-tarn-storage-kln.so";

std::string element(const std::string& name, const std::string& text) {
    return "<" + name + ">" + text + "</" + name + ">";
}

}  // namespace

Places Places::over(Transport transport) {
    if (transport == Transport::Tcp) {
        return {.transport = transport,
                .requests = "tcp://127.0.0.1:20100",
                .resources = "tcp://127.0.0.1:20101",
                .events = "tcp://127.0.0.1:20102",
                .published = "tcp://127.0.0.1:20103",
                .largeDevice = "tcp://127.0.0.1:20110",
                .largeDeviceEvents = "tcp://127.0.0.1:20111",
                .monitor = "tcp://127.0.0.1:20104",
                .monitorEvents = "tcp://127.0.0.1:20105",
                .odd = "tcp://127.0.0.1:20106",
                .oddEvents = "tcp://127.0.0.1:20107",
                .storage = {host, tcpPort}};
    }
    return {.transport = transport,
            .requests = "ipc:///tmp/requests",
            .resources = "ipc:///tmp/resource",
            .events = "ipc:///tmp/events",
            .published = "ipc:///tmp/events.pub",
            .largeDevice = "ipc:///tmp/large-device",
            .largeDeviceEvents = "ipc:///tmp/large-device-events",
            .monitor = "ipc:///tmp/host-monitor",
            .monitorEvents = "ipc:///tmp/host-monitor-events",
            .odd = "ipc:///tmp/odd-device",
            .oddEvents = "ipc:///tmp/odd-device-events",
            .storage = {"/run/loops"}};
}

std::string Places::configuration() const {
    const bool tcp = transport == Transport::Tcp;
    return element("Endpoints", element("RequestsEndpoint", requests) +
                                    element("ResourcesEndpoint", resources) +
                                    element("EventsEndpoint", events)) +
           element("TarnProtocolDevice", element("MonitoringInterface", largeDevice)) +
           (tcp ? jobPorts : "") + element("KLN", element("Plugin", storageElements)) +
           element("TarnProtocolDevice", element("MonitoringInterface", monitor)) +
           element("TarnProtocolDevice", element("MonitoringInterface", odd)) +
           "<Storage type=\"LoopStorage\">" + element("InterfaceType", tcp ? "tcp" : "unix") +
           (tcp ? element("TcpPort", std::to_string(storage.port)) : "") +
           element("InterfaceAddress", storage.address) + "</Storage>" +
           (ingest.empty() ? "" : ingestConfiguration());
}

// Of a format that costs little.
std::string Places::ingestConfiguration() const {
    const std::string program = test::ingestProgram;
    return "<TarnProtocolDevice type=\"Deltacast\">" + element("MonitoringInterface", ingest) +
           "</TarnProtocolDevice>" +
           element(
               "DeltacastService",
               element("CommandLine", program + " --test-picture --endpoint " + ingest +
                                          " --event-endpoint " + ingestEvents +
                                          " --pixel-format %pixel-format"
                                          " --board0-input-list '%board0-input-list'"
                                          " --board0-input-frameoffset '%board0-input-frameoffset'"
                                          " --line-count %line-count --field-mode %field-mode"
                                          " --frame-rate %frame-rate") +
                   element("DefaultPixelFormat", "uyvy422_8") +
                   element("DefaultBoard0InputList", "0") +
                   element("DefaultBoard0InputFrameOffsetList", "0") +
                   element("DefaultLineCount", "576") + element("DefaultFieldMode", "i") +
                   element("DefaultFrameRate", "25"));
}

Places Places::withIngest() const {
    auto places = *this;
    const bool tcp = transport == Transport::Tcp;
    places.ingest = tcp ? "tcp://127.0.0.1:20108" : "ipc:///tmp/chaos-ingest";
    places.ingestEvents = tcp ? "tcp://127.0.0.1:20109" : "ipc:///tmp/chaos-ingest-events";
    return places;
}

std::string Places::storageLocation() const {
    return storage.port == 0 ? "unix:" + storage.address : "tcp:" + storageListener();
}

std::string Places::storageListener() const {
    return storage.port == 0 ? storage.address
                             : storage.address + ":" + std::to_string(storage.port);
}

}  // namespace tarn::chaos
