#include "platform/keys/KeyPair.h"

#include <zmq.h>

#include <array>
#include <cstdint>
#include <stdexcept>

namespace tarn::keys {

namespace {

constexpr std::size_t keyLength = 40;
constexpr std::size_t keyBytes = 32;

using Text = std::array<char, keyLength + 1>;

}  // namespace

bool isKey(std::string_view text) {
    if (text.size() != keyLength || text.find('\0') != std::string_view::npos) {
        return false;
    }
    std::array<std::uint8_t, keyBytes> bytes{};
    return zmq_z85_decode(bytes.data(), std::string(text).c_str()) != nullptr;
}

KeyPair generateKeyPair() {
    Text publicKey{};
    Text secretKey{};
    if (zmq_curve_keypair(publicKey.data(), secretKey.data()) != 0) {
        throw std::runtime_error(std::string("no keys can be made: ") + zmq_strerror(zmq_errno()));
    }
    return {publicKey.data(), secretKey.data()};
}

KeyPair keyPairOf(const std::string& secretKey) {
    Text publicKey{};
    if (!isKey(secretKey) || zmq_curve_public(publicKey.data(), secretKey.c_str()) != 0) {
        throw std::invalid_argument("this is no secret key");
    }
    return {publicKey.data(), secretKey};
}

}  // namespace tarn::keys
