#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/utils/MessageFormatter.h"
#include "service/configuration/xml/XmlText.h"

namespace tarn::service::configuration {

class ConfigurationError;

/// How one loop storage server is reached: over TCP, or over a Unix domain socket.
/// Filled once; then safe for concurrent readers.
class LoopStorageConfigurationHandler : public utils::MessageFormatter {
  public:
    LoopStorageConfigurationHandler();

    /// Not valid, Unix, no address, port 0.
    void reset();

    /// Takes over a `Storage` element. On failure false, with the reason in `error`; the handler is
    /// then reset or half filled, and not valid.
    bool parseXml(const XmlNode& node, std::string& error);

    /// The same; throws ConfigurationError on failure.
    void readXml(const XmlNode& node);

    /// "TCP <address>:<port>", "IPC <path>", or "Invalid".
    std::string toString() const;

    bool isValid() const { return valid; }
    bool isTcpInterface() const { return tcpInterface; }
    const std::string& getAddress() const { return address; }  ///< Host, or path of the socket.
    std::uint16_t getPort() const { return port; }             ///< 0 for a Unix domain socket.
    /// Of the server's certificate, as keys::fingerprintIn gives it; empty: it has none.
    const std::string& getFingerprint() const { return fingerprint; }

    /// The elements that readXml looks for.
    static const std::vector<std::string>& elementNames();

  private:
    ConfigurationError failure(const std::string& problem, const XmlNode& where) const;
    void readInterfaceType(const XmlNode& node);
    void readAddress(const XmlNode& node);
    void readPort(const XmlNode& node);
    void readFingerprint(const XmlNode& node);

    bool valid = false;
    bool tcpInterface = false;
    std::string address;
    std::uint16_t port = 0;
    std::string fingerprint;
};

}  // namespace tarn::service::configuration
