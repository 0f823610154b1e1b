#include "cli/jobs/JobSubmission.h"

#include <algorithm>
#include <cctype>

#include "proto/api_service.pb.h"

namespace tarn::cli {

using proto::api_service::ApiToServiceRequestJobSubmission;

namespace {

bool fitsUuid(char character, std::size_t index) {
    const bool dash = index == 8 || index == 13 || index == 18 || index == 23;
    return dash ? character == '-' : std::isxdigit(static_cast<unsigned char>(character)) != 0;
}

}  // namespace

ApiToServiceRequestJobSubmission toMessage(const JobSubmission& job) {
    ApiToServiceRequestJobSubmission message;
    auto& description = *message.mutable_job_description();
    description.set_job_id(job.id);
    description.set_creator("tarnctl");
    if (!job.name.empty()) {
        description.set_name(job.name);
    }
    message.set_job_configuration(job.pipeline);
    for (const std::string& property : job.properties) {
        const auto equals = property.find('=');
        auto& added = *message.add_properties();
        added.set_name(property.substr(0, equals));
        added.add_values(property.substr(equals + 1));
    }
    message.set_persistent(job.persistent);
    if (!job.persistentName.empty()) {
        message.set_persistent_job_name(job.persistentName);
    }
    return message;
}

std::string checkUuid(const std::string& text) {
    bool fits = text.size() == 36;
    for (std::size_t index = 0; fits && index < text.size(); ++index) {
        fits = fitsUuid(text[index], index);
    }
    return fits ? "" : "a UUID is expected, such as 6f1c0a52-63a4-4b0e-9d0e-2f1b8a7c4d11";
}

std::string checkFileName(const std::string& text) {
    const bool good = !text.empty() && text.front() != '.' && text.find('/') == std::string::npos;
    return good ? "" : "a file name without a slash and without a dot at its beginning is expected";
}

}  // namespace tarn::cli
