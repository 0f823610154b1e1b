#pragma once

#include <memory>
#include <string>

#include "platform/utils/Synchronised.h"

namespace tarn::peers {

class PersistentFile;
struct JobSetup;

/// Whether the job is kept for the next start of the service.
///
/// It is Passing until its file is there, which it is from the beginning when a service starts the
/// job from it. It is Kept then, and Forgotten from the moment on in which somebody orders its end
/// for good, whatever it is doing: then there is no file and none is written.
///
/// Thread-safe.
class Persistence {
  public:
    /// The setup must outlive this. A file that cannot be used is an error in the log.
    explicit Persistence(const JobSetup& setup);
    ~Persistence();
    Persistence(const Persistence&) = delete;
    Persistence& operator=(const Persistence&) = delete;

    /// Writes the file, unless the job is not to be kept. Where that fails, an error is logged and
    /// what was there stays.
    void keep();

    /// The file is gone afterwards. Throws std::system_error where it cannot be removed, and the
    /// job is kept as before.
    void forget();

    bool isKept();

    /// Why a job that was to be kept is not; empty when nothing went wrong.
    std::string problem();

    /// Whether the file is there.
    bool isStored();

  private:
    enum class State { Passing, Kept, Forgotten };
    struct Guarded {
        std::unique_ptr<PersistentFile> file;  // none for a job that is not persistent
        std::string content;
        State state = State::Passing;
        std::string problem;
    };

    void open(Guarded& opened) const;
    void write(Guarded& kept) const;
    void useOwnName(Guarded& opened) const;
    static void lose(Guarded& lost, const std::string& reason);
    bool mayBeOurs(const PersistentFile& file) const;

    const JobSetup& setup;
    tarn::utils::Synchronised<Guarded> guarded;
};

}  // namespace tarn::peers
