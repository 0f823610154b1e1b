#pragma once

namespace tarn::benchmarks {

class StorageServer;

/// Making and removing a track of 1 GB, against a plain file of the same size.
void measureTrackCreation(const StorageServer& server);

/// Everything about 1,000 tracks, as a watcher asks for it, against as many bare exchanges.
void measurePoll(const StorageServer& server);

/// One track that is written while 16 read it, against the same without readers.
void measureManyReaders(const StorageServer& server);

}  // namespace tarn::benchmarks
