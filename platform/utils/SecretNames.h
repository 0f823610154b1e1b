#pragma once

#include <cstddef>
#include <string_view>

namespace tarn::utils {

/// Longer names say nothing.
inline constexpr std::size_t longestSecretName = 64;

/// What behind a name is secret: nothing, one word (or what is quoted), or all of the line.
enum class SecretKind { None, Word, Line };

bool isNameCharacter(char character);

/// Of name=value; `before` stands in front of the name. Some names are secrets only as a parameter
/// of a URL, since an encoder has properties of that name.
SecretKind secretBehindEquals(std::string_view name, char before);

/// Of "name: value", where text for people may be meant as well: fewer names. `last` stands in
/// front of the colon.
SecretKind secretBehindColon(std::string_view name, char last);

/// Whether a URL's scheme is RTMP's, or one of its kin.
bool isRtmp(std::string_view scheme);

}  // namespace tarn::utils
