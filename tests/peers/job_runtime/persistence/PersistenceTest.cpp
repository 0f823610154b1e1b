#include "peers/job_runtime/persistence/Persistence.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "peers/job_runtime/JobSetup.h"
#include "proto/service_job.pb.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TemporaryFolder.h"

namespace tarn::peers {
namespace {

namespace fs = std::filesystem;
using tarn::proto::service_job::ServiceToJobRequest;
using tarn::proto::service_job::ServiceToJobRequestSetup;
using tarn::test::readFile;

enum class Name { Stamped, Chosen };

struct PersistenceTest : testing::Test {
    test::TemporaryFolder folder;
    const std::string file = (folder.path() / "file").string();

    JobSetup setupOf(const std::string& id, Name name = Name::Stamped) const {
        ServiceToJobRequest request;
        request.set_type(ServiceToJobRequest::SETUP);
        auto& fields = *request.MutableExtension(ServiceToJobRequestSetup::base);
        fields.mutable_job_description()->set_job_id(id);
        fields.set_persistent_file_path(file);
        if (name == Name::Chosen) {
            fields.set_persistent_job_name("file");
        }
        JobSetup setup;
        setup.job = tarn::resource_manager::RunningJob(
            tarn::resource_manager::JobDescription(fields.job_description()), "", "", {}, {});
        setup.persistentFile = file;
        setup.persistentContent = request.SerializeAsString();
        return setup;
    }

    static ServiceToJobRequestSetup stored(const fs::path& path) {
        ServiceToJobRequest request;
        EXPECT_TRUE(request.ParseFromString(readFile(path)));
        return request.GetExtension(ServiceToJobRequestSetup::base);
    }

    // As a full disk does for everybody, and a permission only for others than root: the place in
    // which a file is made ready is taken by something else.
    void refuseWrites() const { folder.write(".incomplete", ""); }
};

TEST_F(PersistenceTest, AJobWithoutAFileIsNotKept) {
    JobSetup setup = setupOf("a");
    setup.persistentFile.clear();
    Persistence persistence(setup);
    persistence.keep();
    EXPECT_FALSE(persistence.isKept());
    persistence.forget();
    EXPECT_TRUE(fs::is_empty(folder.path()));
}

TEST_F(PersistenceTest, AKeptJobHasItsFileUntilItIsForgotten) {
    const auto setup = setupOf("a");
    Persistence persistence(setup);
    EXPECT_FALSE(persistence.isKept());
    persistence.keep();
    EXPECT_TRUE(persistence.isKept());
    EXPECT_TRUE(persistence.isStored());
    EXPECT_EQ(readFile(file), setup.persistentContent);
    persistence.forget();
    EXPECT_FALSE(persistence.isKept());
    EXPECT_FALSE(fs::exists(file));
}

TEST_F(PersistenceTest, AForgottenJobIsNotKeptAgain) {
    const auto setup = setupOf("a");
    Persistence persistence(setup);
    persistence.forget();
    persistence.keep();
    EXPECT_FALSE(persistence.isKept());
    EXPECT_FALSE(fs::exists(file));
}

TEST_F(PersistenceTest, AJobThatCameFromItsFileStaysKeptWhenItCannotBeWritten) {
    const auto setup = setupOf("a");
    folder.write("file", setup.persistentContent);
    refuseWrites();
    Persistence persistence(setup);
    const test::LogCapture log;
    persistence.keep();
    EXPECT_TRUE(persistence.isKept());
    EXPECT_TRUE(log.contains("The persistent file stays as it was: "));
    persistence.forget();
    EXPECT_FALSE(fs::exists(file));
}

TEST_F(PersistenceTest, ANewJobWhoseFileCannotBeWrittenIsNotKept) {
    refuseWrites();
    const auto setup = setupOf("a");
    Persistence persistence(setup);
    const test::LogCapture log;
    persistence.keep();
    EXPECT_FALSE(persistence.isKept());
    EXPECT_TRUE(log.contains("This job is not persistent: " + persistence.problem()));
    EXPECT_NE(persistence.problem(), "");
}

TEST_F(PersistenceTest, TwoJobsWithTheSameStampHaveAFileEach) {
    const auto first = setupOf("a");
    const auto second = setupOf("b");
    Persistence ofFirst(first);
    ofFirst.keep();
    Persistence ofSecond(second);
    ofSecond.keep();
    EXPECT_EQ(stored(file).job_description().job_id(), "a");
    EXPECT_EQ(stored(file + "_b").job_description().job_id(), "b");
    EXPECT_EQ(stored(file + "_b").persistent_file_path(), file + "_b");
    ofSecond.forget();
    EXPECT_TRUE(fs::exists(file));
    EXPECT_FALSE(fs::exists(file + "_b"));
}

TEST_F(PersistenceTest, TwoJobsWithTheSameStampThatAreKeptLaterHaveAFileEachToo) {
    const auto first = setupOf("a");
    const auto second = setupOf("b");
    Persistence ofFirst(first);
    Persistence ofSecond(second);
    ofSecond.keep();
    ofFirst.keep();
    EXPECT_TRUE(ofFirst.isStored());
    EXPECT_TRUE(ofSecond.isStored());
    EXPECT_EQ(stored(file).job_description().job_id(), "b");
    EXPECT_EQ(stored(file + "_a").job_description().job_id(), "a");
    EXPECT_TRUE(fs::is_empty(folder.path() / ".incomplete"));
}

TEST_F(PersistenceTest, WhatAJobMakesReadyIsNotWhatAnotherMakesReady) {
    const auto first = setupOf("a");
    Persistence ofFirst(first);
    fs::create_directory(folder.path() / ".incomplete");
    folder.write(".incomplete/file", "what another has written so far");
    ofFirst.keep();
    EXPECT_EQ(stored(file).job_description().job_id(), "a");
    EXPECT_EQ(readFile(folder.path() / ".incomplete" / "file"), "what another has written so far");
}

TEST_F(PersistenceTest, AJobsOwnFileHasANameThatIsNotTooLong) {
    const auto longest = (folder.path() / std::string(255, 'x')).string();
    for (const auto* id : {"a", "b"}) {
        auto setup = setupOf(id);
        setup.persistentFile = longest;
        Persistence persistence(setup);
        persistence.keep();
        EXPECT_TRUE(persistence.isStored()) << id;
    }
    const auto besides = folder.path() / (std::string(253, 'x') + "_b");
    EXPECT_EQ(stored(besides).job_description().job_id(), "b");
    EXPECT_EQ(stored(besides).persistent_file_path(), besides);
}

TEST_F(PersistenceTest, ANameThatTheClientChoseIsTheLastJobs) {
    const auto first = setupOf("a", Name::Chosen);
    const auto second = setupOf("b", Name::Chosen);
    Persistence ofFirst(first);
    ofFirst.keep();
    Persistence ofSecond(second);
    ofSecond.keep();
    EXPECT_EQ(stored(file).job_description().job_id(), "b");
    EXPECT_FALSE(ofFirst.isStored());
    ofFirst.forget();
    EXPECT_TRUE(ofSecond.isStored());
}

TEST_F(PersistenceTest, GarbageInThePlaceOfTheFileIsReplaced) {
    folder.write("file", "\xff no job");
    const auto setup = setupOf("a");
    Persistence persistence(setup);
    EXPECT_FALSE(persistence.isKept());
    persistence.keep();
    EXPECT_TRUE(persistence.isStored());
}

TEST_F(PersistenceTest, APipeInThePlaceOfTheFileHoldsNobodyUp) {
    ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0);
    const auto setup = setupOf("a");
    Persistence persistence(setup);
    persistence.keep();
    EXPECT_TRUE(persistence.isStored());
}

}  // namespace
}  // namespace tarn::peers
