#pragma once

#include <random>
#include <string>
#include <vector>

namespace tarn::fuzz {

/// Makes other texts of a text: those that go wrong somewhere (long, empty, not UTF-8, with
/// zeros, quotes, slashes), those that are said elsewhere in the same message, and small changes.
class TextMutator {
  public:
    TextMutator(std::minstd_rand& random, const std::vector<std::string>& said)
        : random(random), said(said) {}

    std::string changed(std::string text);

  private:
    std::string edited(std::string text);
    std::string likely();

    std::minstd_rand& random;
    const std::vector<std::string>& said;
};

}  // namespace tarn::fuzz
