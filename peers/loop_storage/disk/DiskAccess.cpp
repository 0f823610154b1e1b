#include "peers/loop_storage/disk/DiskAccess.h"

namespace tarn::peers::loop_storage {

namespace {

thread_local DiskAccesses* watched = nullptr;

}  // namespace

void DiskAccesses::Watch(DiskAccesses* accesses) {
    watched = accesses;
}

void DiskAccesses::begin() {
    changes.store(changes.load(std::memory_order_relaxed) + 1);
    atBegin();
}

void DiskAccesses::end() {
    changes.store(changes.load(std::memory_order_relaxed) + 1, std::memory_order_release);
}

DiskAccess::DiskAccess() {
    if (watched != nullptr) {
        watched->begin();
    }
}

DiskAccess::~DiskAccess() {
    if (watched != nullptr) {
        watched->end();
    }
}

}  // namespace tarn::peers::loop_storage
