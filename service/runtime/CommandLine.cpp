#include "service/runtime/CommandLine.h"

#include <boost/program_options.hpp>
#include <iostream>

namespace tarn::service {

namespace options = boost::program_options;

bool printHelpIfAskedFor(int argc, const char* const* argv) {
    options::options_description description("Allowed options");
    description.add_options()("help", "Produce help message");
    options::variables_map values;
    options::store(options::parse_command_line(argc, argv, description), values);
    options::notify(values);
    if (values.count("help") == 0) {
        return false;
    }
    std::cout << description << std::endl;
    return true;
}

}  // namespace tarn::service
