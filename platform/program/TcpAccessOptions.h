#pragma once

namespace CLI {
class App;
}

namespace tarn::access {
struct TcpAccessSettings;
}

namespace tarn::program {

/// Adds --key-file, --client-keys, --require-keys and --server-key: what the service's
/// configuration says in its section Security, for programs that do not read it. `settings`
/// outlives the parsing.
void addTcpAccess(CLI::App& app, access::TcpAccessSettings& settings);

}  // namespace tarn::program
