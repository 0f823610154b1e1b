#include "tests/cli/doctor/TestMachine.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>

namespace tarn::cli {

namespace fs = std::filesystem;

TestMachine::TestMachine() {
    machine.root = folder.path();
    machine.asRoot = true;
    machine.run = [this](const std::vector<std::string>& arguments) -> std::optional<ProgramEnd> {
        ran.push_back(arguments);
        const auto found = programs.find(arguments.front());
        return found == programs.end() ? std::nullopt : std::optional(found->second);
    };
    machine.space = [this](const fs::path&) { return left; };
    machine.now = std::chrono::system_clock::now;
    machine.clockIsSynchronised = [] { return true; };
    machine.landlockVersion = [] { return 1; };
    const auto own = std::to_string(::geteuid());
    write("/etc/passwd", "tarn:x:" + own + ":996::/:/sbin/nologin\ntarn-store:x:" + own +
                             ":995::/:/sbin/nologin\ntarn-job:x:994:994::/:/sbin/nologin\n");
    write("/etc/group",
          "tarn-read:x:990:tarn,tarn-store\ntarn-operate:x:991:\ntarn-admin:x:992:\n");
}

void TestMachine::write(const std::string& path, const std::string& content) const {
    const auto where = machine.at(path);
    fs::create_directories(where.parent_path());
    std::ofstream(where) << content;
}

fs::path TestMachine::make(const std::string& path, fs::perms mode) const {
    const auto where = machine.at(path);
    fs::create_directories(where);
    fs::permissions(where, mode);
    return where;
}

std::vector<std::string> textsOf(const Findings& findings) {
    std::vector<std::string> texts;
    for (const auto& finding : findings) {
        EXPECT_NE(finding.remedy, "") << finding.text;
        const auto gravity = finding.gravity == Gravity::Error     ? "error: "
                             : finding.gravity == Gravity::Warning ? "warning: "
                                                                   : "not seen: ";
        texts.push_back(gravity + finding.text);
    }
    return texts;
}

}  // namespace tarn::cli
