#include "platform/utils/SecretNames.h"

#include <algorithm>
#include <array>
#include <cctype>

namespace tarn::utils {

namespace {

// Whole names, or their last part behind "-", "_" or ".": "user-pw", "auth-token",
// "srt.passphrase".
constexpr std::array alwaysSecret = {
    std::string_view("passphrase"), std::string_view("password"),   std::string_view("passwd"),
    std::string_view("pwd"),        std::string_view("pw"),         std::string_view("secret"),
    std::string_view("token"),      std::string_view("apikey"),     std::string_view("streamkey"),
    std::string_view("streamid"),   std::string_view("credential"), std::string_view("credentials"),
    std::string_view("psk"),        std::string_view("privatekey"), std::string_view("accesskey"),
    std::string_view("secretkey"),  std::string_view("jwt")};

// "key-int-max" of an encoder ends otherwise; what is public says so.
constexpr std::array secretAsProperty = {std::string_view("key"), std::string_view("signature"),
                                         std::string_view("sig"), std::string_view("bearer")};

constexpr std::array secretInUrls = {std::string_view("pass"), std::string_view("auth"),
                                     std::string_view("stream"), std::string_view("session"),
                                     std::string_view("user-pass")};

constexpr std::array secretLines = {std::string_view("authorization"), std::string_view("cookie"),
                                    std::string_view("cookies"), std::string_view("set-cookie")};

constexpr std::array rtmpKin = {std::string_view("rtmp"),   std::string_view("rtmps"),
                                std::string_view("rtmpt"),  std::string_view("rtmpe"),
                                std::string_view("rtmpts"), std::string_view("rtmpte")};

bool isSame(std::string_view name, std::string_view known) {
    return std::equal(name.begin(), name.end(), known.begin(), known.end(),
                      [](unsigned char a, char b) { return std::tolower(a) == b; });
}

template <typename Known>
bool isOne(std::string_view name, const Known& known) {
    return std::any_of(known.begin(), known.end(),
                       [&](std::string_view each) { return isSame(name, each); });
}

std::string_view lastPart(std::string_view name) {
    const auto mark = name.find_last_of("-_.");
    return mark == std::string_view::npos ? name : name.substr(mark + 1);
}

std::string_view partBefore(std::string_view name, std::string_view last) {
    return name.size() > last.size() ? lastPart(name.substr(0, name.size() - last.size() - 1))
                                     : std::string_view();
}

bool isPublic(std::string_view name) {
    return isSame(partBefore(name, lastPart(name)), "public");
}

}  // namespace

bool isNameCharacter(char character) {
    return std::isalnum(static_cast<unsigned char>(character)) != 0 || character == '-' ||
           character == '_' || character == '.';
}

SecretKind secretBehindEquals(std::string_view name, char before) {
    const auto last = lastPart(name);
    if (last.empty()) {
        return SecretKind::None;
    }
    if (isOne(name, secretLines)) {
        return SecretKind::Line;
    }
    const bool isParameter = before == '?' || before == '&';
    const bool isSecret = isOne(last, alwaysSecret) ||
                          (isOne(last, secretAsProperty) && !isPublic(name)) ||
                          (isParameter && isOne(name, secretInUrls));
    return isSecret ? SecretKind::Word : SecretKind::None;
}

// "key: value" is written for people, but not with a quote in front of the colon.
SecretKind secretBehindColon(std::string_view name, char last) {
    if (last == '"' || last == '\'') {
        return secretBehindEquals(name, '\0');
    }
    if (isOne(name, secretLines)) {
        return SecretKind::Line;
    }
    return isOne(lastPart(name), alwaysSecret) ? SecretKind::Word : SecretKind::None;
}

bool isRtmp(std::string_view scheme) {
    return isOne(scheme, rtmpKin);
}

}  // namespace tarn::utils
