#pragma once

#include <list>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/resource_manager/RunningJob.h"

namespace tarn::resource_manager::test {

RunningJob jobOf(const os::ProcessIdentity& process, const std::string& id,
                 const RunningJob::Resources& resources = {});

/// With the resource "Endpoint" if endpoints are given.
RunningJob jobOfThisProcess(const std::string& id, const std::vector<std::string>& endpoints = {});
RunningJob deadJob(const std::string& id, const std::vector<std::string>& endpoints = {});

/// A process that had this process's id earlier.
os::ProcessIdentity formerProcess();

std::string idOf(const RunningJob& job);

template <typename Jobs>
std::vector<std::string> idsOf(const Jobs& jobs) {
    std::vector<std::string> ids;
    for (const auto& job : jobs) {
        ids.push_back(idOf(job));
    }
    return ids;
}

/// The text of the exception that the call ends with; empty when it succeeds.
template <typename Call>
std::string refusalOf(Call call) {
    try {
        call();
    } catch (const std::exception& e) {
        return e.what();
    }
    return {};
}

}  // namespace tarn::resource_manager::test
