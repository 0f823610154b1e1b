#include "tests/platform/cell/InCell.h"

#include <fcntl.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <sstream>
#include <system_error>

#include "platform/os/FileDescriptor.h"

namespace tarn::cell {

namespace {

void writeLines(int descriptor, const std::vector<std::string>& lines) {
    for (const auto& line : lines) {
        const auto text = line + "\n";
        [[maybe_unused]] const auto written = ::write(descriptor, text.data(), text.size());
    }
}

[[noreturn]] void beTheCopy(int result, const Cell& cell,
                            const std::function<std::string()>& attempt) {
    const auto report = enter(cell);
    writeLines(result, {report.built, std::to_string(report.missing.size())});
    writeLines(result, report.missing);
    writeLines(result, {std::to_string(report.notes.size())});
    writeLines(result, report.notes);
    writeLines(result, {attempt()});
    ::_exit(0);
}

std::string readAll(int descriptor) {
    std::string all;
    std::array<char, 4096> buffer;
    for (ssize_t count = 0; (count = ::read(descriptor, buffer.data(), buffer.size())) > 0;) {
        all.append(buffer.data(), static_cast<std::size_t>(count));
    }
    return all;
}

std::string nextLine(std::istream& lines) {
    std::string line;
    std::getline(lines, line);
    return line;
}

std::vector<std::string> nextList(std::istream& lines) {
    std::vector<std::string> list(std::strtoul(nextLine(lines).c_str(), nullptr, 10));
    for (auto& entry : list) {
        entry = nextLine(lines);
    }
    return list;
}

}  // namespace

Tried tryInCell(const Cell& cell, const std::function<std::string()>& attempt) {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe");
    }
    const os::FileDescriptor readEnd(ends[0]);
    os::FileDescriptor writeEnd(ends[1]);
    const pid_t copy = ::fork();
    if (copy == 0) {
        beTheCopy(writeEnd.get(), cell, attempt);
    }
    writeEnd.close();
    std::istringstream lines(readAll(readEnd.get()));
    Tried tried;
    ::waitpid(copy, &tried.status, 0);
    tried.report.built = nextLine(lines);
    tried.report.missing = nextList(lines);
    tried.report.notes = nextList(lines);
    tried.said = nextLine(lines);
    return tried;
}

std::string outcomeOf(long result) {
    return result < 0 ? ::strerrorname_np(errno) : "done";
}

std::string outcomeOfOpening(const std::string& path, int flags) {
    return outcomeOf(os::FileDescriptor(::open(path.c_str(), flags | O_CLOEXEC, 0600)).get());
}

}  // namespace tarn::cell
