#pragma once

#include "proto/service.pb.h"
#include "service/configuration/ConfigurationSettings.h"

namespace tarn::service {

/// What a job, or an engine, is told in its setup: it protects its endpoints as the service does.
inline void fill(tarn::service::proto::TcpSecurity& message,
                 const configuration::SecuritySettings& security) {
    message.set_required(security.required);
    message.set_key_file(security.keyFile);
    message.set_client_keys(security.clientKeys);
}

}  // namespace tarn::service
