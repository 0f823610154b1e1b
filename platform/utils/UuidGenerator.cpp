#include "platform/utils/UuidGenerator.h"

#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/uuid_io.hpp>

namespace tarn::utils {

std::string UuidGenerator::Generate() {
    boost::uuids::random_generator_pure generator;  // reads the kernel's generator at each call
    return boost::uuids::to_string(generator());
}

}  // namespace tarn::utils
