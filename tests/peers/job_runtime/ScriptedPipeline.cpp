// Stands in the place of the pipeline process: does what its pipeline's text says, such as
// "parse=parsed prepare=prepared play=playing,eos,exit0", and writes what it is told.
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <map>
#include <sstream>
#include <string>

#include "peers/pipeline_channel/MessageChannel.h"
#include "proto/pipeline_control.pb.h"

namespace {

using tarn::os::FileDescriptor;
using tarn::peers::MessageChannel;
using tarn::proto::pipeline_control::PipelineCommand;
using tarn::proto::pipeline_control::PipelineReport;

class Script {
  public:
    int run() {
        while (channel.read() == MessageChannel::Input::Open) {
            for (PipelineCommand command; channel.next(command); command.Clear()) {
                follow(command);
            }
            pollfd input{.fd = channel.descriptor(), .events = POLLIN, .revents = 0};
            ::poll(&input, 1, -1);
        }
        return 0;
    }

  private:
    void follow(const PipelineCommand& command) {
        static const std::map<PipelineCommand::Type, std::string> names = {
            {PipelineCommand::PARSE, "parse"},
            {PipelineCommand::PREPARE, "prepare"},
            {PipelineCommand::PLAY, "play"},
            {PipelineCommand::FINISH, "finish"}};
        const auto& name = names.at(command.type());
        std::cout << "told to " << name;
        for (const auto& variable : command.environment()) {
            std::cout << " with " << variable.name() << "=" << variable.value();
        }
        std::cout << std::endl;
        if (command.type() == PipelineCommand::PARSE) {
            text = command.pipeline();
        }
        std::istringstream stages(text);
        for (std::string stage; stages >> stage;) {
            if (stage.starts_with(name + "=")) {
                act(stage.substr(name.size() + 1));
            }
        }
    }

    void act(const std::string& list) {
        std::istringstream words(list);
        for (std::string word; std::getline(words, word, ',');) {
            if (word.starts_with("exit")) {
                ::_exit(std::stoi(word.substr(4)));
            } else if (word == "crash") {
                ::raise(SIGKILL);
            } else if (word == "stubborn") {
                ::signal(SIGTERM, SIG_IGN);
            } else if (word == "silence") {
                ::shutdown(channel.descriptor(), SHUT_RDWR);
                ::pause();
            } else if (word == "garbage") {
                std::cout << "without an end" << std::flush;
                if (::write(channel.descriptor(), "\xff\xff\xff\xff", 4) != 4) {
                    ::_exit(9);
                }
            } else {
                report(word);
            }
        }
    }

    void report(const std::string& word) {
        static const std::map<std::string, PipelineReport::Type> types = {
            {"parsed", PipelineReport::PARSED},     {"prepared", PipelineReport::PREPARED},
            {"playing", PipelineReport::PLAYING},   {"progress", PipelineReport::PROGRESS},
            {"warning", PipelineReport::WARNING},   {"failure", PipelineReport::FAILURE},
            {"eos", PipelineReport::END_OF_STREAM}, {"unknown", PipelineReport::UNKNOWN}};
        PipelineReport report;
        report.set_type(types.at(word));
        report.set_position_ns(7);
        report.set_message("what");
        report.set_detail("where");
        channel.send(report);
    }

    MessageChannel channel{tarn::os::FileDescriptor(MessageChannel::pipelineDescriptor),
                           MessageChannel::maxCommandBytes};
    std::string text;
};

}  // namespace

int main() {
    ::signal(SIGPIPE, SIG_IGN);
    return Script().run();
}
