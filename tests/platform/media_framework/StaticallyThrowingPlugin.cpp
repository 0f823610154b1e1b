#include <stdexcept>

namespace {

// Thrown while the library is loaded, where nobody can catch it.
struct Licence {
    Licence() { throw std::runtime_error("no licence"); }
};

const Licence licence;

}  // namespace
