#pragma once

namespace tarn::peers {

/// Puts signal handling back to what a program starts with, and closes every descriptor but the
/// three standard ones: a launcher is started by a shell in the background, which leaves its
/// children with ignored signals, and by a service, which leaves them its files.
/// Before anything else is opened.
void resetInheritedState();

/// Goes on in a child process that is the leader of a session of its own; the calling process
/// exits. Before there are threads. Throws std::system_error.
void detach();

/// Standard input, output and error become /dev/null.
void closeStandardStreams();

}  // namespace tarn::peers
