#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "cli/CommandError.h"
#include "cli/access/LevelMembers.h"
#include "cli/commands/Commands.h"
#include "cli/output/Output.h"
#include "cli/output/Table.h"

namespace tarn::cli {

using access::Level;
using nlohmann::ordered_json;

namespace {

struct LevelOptions {
    std::string user;
    std::string level;
};

Level levelIn(const LevelOptions& options) {
    return access::levelNamed(options.level).value_or(Level::None);
}

std::string textOf(Level level) {
    return std::string(access::nameOf(level));
}

ExitStatus tell(const Session& session, const std::string& user, Level level,
                const std::string& text) {
    return show(
        session,
        [&] {
            return ordered_json{{"user", user}, {"level", textOf(level)}};
        },
        [&](Output& output) { output.line(text); });
}

ExitStatus grantLevel(const LevelOptions& options, const Session& session) {
    const auto wanted = levelIn(options);
    const auto has = levelOfUser(options.user);
    if (has >= wanted) {
        return tell(session, options.user, has,
                    fmt::format("{} has the level {} already", options.user, textOf(has)));
    }
    addToLevel(options.user, wanted);
    return tell(
        session, options.user, wanted,
        fmt::format("{} has the level {} from the next log-in on", options.user, textOf(wanted)));
}

ExitStatus revokeLevel(const LevelOptions& options, const Session& session) {
    const auto taken = levelIn(options);
    const auto had = levelOfUser(options.user);
    if (had < taken) {
        return tell(session, options.user, had,
                    fmt::format("{} has the level {}: there is nothing to take", options.user,
                                textOf(had)));
    }
    removeFromLevel(options.user, taken);
    const auto left = levelOfUser(options.user);
    return tell(session, options.user, left,
                fmt::format("{} has the level {} from the next log-in on; what {} has started "
                            "keeps {} until then",
                            options.user, textOf(left), options.user, textOf(had)));
}

ExitStatus listLevels(const std::string& user, const Session& session) {
    const auto levels =
        user.empty() ? levelMembers() : std::map<std::string, Level>{{user, levelOfUser(user)}};
    return show(
        session,
        [&] {
            auto list = ordered_json::array();
            for (const auto& [name, level] : levels) {
                list.push_back({{"user", name}, {"level", textOf(level)}});
            }
            return ordered_json{{"users", std::move(list)}};
        },
        [&](Output& output) {
            Table table({"USER", "LEVEL"});
            for (const auto& [name, level] : levels) {
                table.add({name, textOf(level)});
            }
            output.table(table, "nobody but root and the service's own user");
        });
}

void addLevelOptions(CLI::App& line, LevelOptions& options) {
    line.add_option("USER", options.user, "A user of this machine")->required();
    line.add_option("LEVEL", options.level, "read, operate or admin")
        ->required()
        ->check(CLI::IsMember({"read", "operate", "admin"}));
}

void addUserOption(CLI::App& line, std::string& user) {
    line.add_option("USER", user, "Only this one");
}

}  // namespace

Command accessFamily() {
    return {.name = "access",
            .purpose = "Say who may do what on this machine",
            .footer =
                "Levels, each with what those before it may do:\n"
                "  read     info, lists, tree, events, status\n"
                "  operate  submit jobs and stop one's own, capture format, track properties\n"
                "  admin    engines, persistent jobs, tracks, other users' jobs, keys\n"
                "root and the service's own user are admin always. Asks no service.\n"
                "Example:\n"
                "  tarnctl access list"};
}

Command accessGrantCommand() {
    return {.name = "grant",
            .purpose = "Give a user a level; for root",
            .footer =
                "The user has it from the next log-in on.\n"
                "Example:\n"
                "  tarnctl access grant alice operate",
            .prepare = with(addLevelOptions, grantLevel)};
}

Command accessRevokeCommand() {
    return {.name = "revoke",
            .purpose = "Take a level, and those above it, from a user; for root",
            .footer =
                "What the user has started keeps its level until it ends.\n"
                "Example:\n"
                "  tarnctl access revoke alice operate",
            .prepare = with(addLevelOptions, revokeLevel)};
}

Command accessListCommand() {
    return {.name = "list",
            .purpose = "List the users who have a level",
            .footer =
                "Example:\n"
                "  tarnctl access list",
            .prepare = with(addUserOption, listLevels)};
}

}  // namespace tarn::cli
