#pragma once

#include <string>

namespace tarn::os {

/// Writes all of the content to the beginning of an open file, whose name is for the message.
/// Throws std::system_error.
void writeFromBeginning(int descriptor, const std::string& content, const std::string& name);

/// Whether the file is there, is a regular one and may be written.
bool canBeWrittenInPlace(const std::string& path);

/// Writes the content over that of a file that can be written in place, and to the disk: its space
/// is reserved first, and what it held is put back when writing fails. A crash in the middle can
/// leave a part of both. Throws std::system_error.
void writeInPlace(const std::string& path, const std::string& content);

}  // namespace tarn::os
