#include "platform/resource_manager/registry/RegistryFile.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <sqlite3.h>

#include <stdexcept>

#include "proto/resource_manager.pb.h"

namespace tarn::resource_manager {

namespace {

constexpr int layoutVersion = 1;
constexpr int busyTimeoutMs = 1000;
constexpr auto deltacastSetting = "deltacast_configuration";

template <typename Message>
Message parsed(const SQLite::Column& column) {
    Message message;
    if (!message.ParseFromArray(column.getBlob(), column.getBytes())) {
        throw std::runtime_error("a record cannot be read");
    }
    return message;
}

RunningJob jobFrom(const SQLite::Column& column) {
    return RunningJob(parsed<tarn::proto::resource_manager::RunningJob>(column));
}

/// While it lives, a file that somebody holds is an error at once.
class NoWaiting {
  public:
    explicit NoWaiting(SQLite::Database& database) : database(database) {
        database.setBusyTimeout(0);
    }
    ~NoWaiting() { ::sqlite3_busy_timeout(database.getHandle(), busyTimeoutMs); }
    NoWaiting(const NoWaiting&) = delete;
    NoWaiting& operator=(const NoWaiting&) = delete;

  private:
    SQLite::Database& database;
};

void bindBlob(SQLite::Statement& statement, int index, const std::string& bytes) {
    statement.bind(index, bytes.data(), static_cast<int>(bytes.size()));
}

}  // namespace

RegistryFile::RegistryFile(const std::string& path)
    : database(std::make_unique<SQLite::Database>(
          path, SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE, busyTimeoutMs)) {
    // The folder does not outlive the machine's run, so only a killed process matters, and what
    // that has written the kernel has.
    database->exec("PRAGMA synchronous=OFF");
    database->exec("PRAGMA journal_mode=TRUNCATE");
    // A damaged file is found out here, not by the first query that meets the damage.
    const auto verdict = database->execAndGet("PRAGMA quick_check").getString();
    if (verdict != "ok") {
        throw std::runtime_error(verdict);
    }
    createTables();
}

RegistryFile::~RegistryFile() = default;

void RegistryFile::createTables() {
    SQLite::Transaction transaction(*database, SQLite::TransactionBehavior::IMMEDIATE);
    const int version = database->execAndGet("PRAGMA user_version").getInt();
    const int tables = database->execAndGet("SELECT count(*) FROM sqlite_master").getInt();
    if (version == 0 && tables == 0) {
        database->exec(
            "CREATE TABLE jobs(sequence INTEGER PRIMARY KEY, job_id TEXT NOT NULL UNIQUE,"
            " record BLOB NOT NULL);"
            "CREATE TABLE settings(name TEXT PRIMARY KEY, value BLOB NOT NULL);"
            "PRAGMA user_version=" +
            std::to_string(layoutVersion));
    } else if (version != layoutVersion) {
        throw std::runtime_error("not a registry of this version");
    }
    transaction.commit();
}

RegistryContents RegistryFile::load() {
    RegistryContents contents;
    SQLite::Statement jobs(*database, "SELECT record FROM jobs ORDER BY sequence");
    while (jobs.executeStep()) {
        contents.jobs.push_back(jobFrom(jobs.getColumn(0)));
    }
    SQLite::Statement setting(*database, "SELECT value FROM settings WHERE name=?");
    setting.bind(1, deltacastSetting);
    if (setting.executeStep()) {
        contents.deltacastConfiguration = DeltacastConfiguration(
            parsed<tarn::proto::resource_manager::DeltacastConfiguration>(setting.getColumn(0)));
    }
    return contents;
}

void RegistryFile::apply(const RegistryChange& change) {
    SQLite::Transaction transaction(*database, SQLite::TransactionBehavior::IMMEDIATE);
    write(change);
    transaction.commit();
}

// Without waiting for who holds the file: this is tried again and again, with a lock that requests
// need.
void RegistryFile::replace(const RegistryContents& contents) {
    const NoWaiting noWaiting(*database);
    SQLite::Transaction transaction(*database, SQLite::TransactionBehavior::IMMEDIATE);
    database->exec("DELETE FROM jobs; DELETE FROM settings");
    for (const auto& job : contents.jobs) {
        write({.removed = {}, .entered = job, .deltacastConfiguration = {}});
    }
    write(
        {.removed = {}, .entered = {}, .deltacastConfiguration = contents.deltacastConfiguration});
    transaction.commit();
}

void RegistryFile::write(const RegistryChange& change) {
    for (const auto& jobId : change.removed) {
        SQLite::Statement remove(*database, "DELETE FROM jobs WHERE job_id=?");
        remove.bind(1, jobId);
        remove.exec();
    }
    if (change.entered) {
        SQLite::Statement enter(*database,
                                "INSERT INTO jobs(job_id, record) VALUES(?, ?)"
                                " ON CONFLICT(job_id) DO UPDATE SET record=excluded.record");
        enter.bind(1, change.entered->getJobDescription().getJobId());
        bindBlob(enter, 2, change.entered->toProtoBuf().SerializeAsString());
        enter.exec();
    }
    if (change.deltacastConfiguration) {
        SQLite::Statement set(*database, "INSERT OR REPLACE INTO settings VALUES(?, ?)");
        set.bind(1, deltacastSetting);
        bindBlob(set, 2, change.deltacastConfiguration->toProtoBuf().SerializeAsString());
        set.exec();
    }
}

}  // namespace tarn::resource_manager
