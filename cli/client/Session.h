#pragma once

#include <functional>

#include "cli/ExitStatus.h"
#include "cli/output/Output.h"

namespace tarn::cli {

class ServiceClient;

enum class Format { Text, Json };

/// What a command works with. The members outlive it.
struct Session {
    ServiceClient& service;
    Output& output;
    Format format;
};

/// Shows an answer in the form that was asked for: the document that `toDocument` makes, or what
/// `print` writes to the Output.
template <typename ToDocument, typename Print>
ExitStatus show(const Session& session, ToDocument toDocument, Print print) {
    if (session.format == Format::Json) {
        session.output.document(toDocument());
    } else {
        print(session.output);
    }
    return ExitStatus::Done;
}

/// A command with its options. Throws CommandError.
using Action = std::function<ExitStatus(const Session&)>;

}  // namespace tarn::cli
