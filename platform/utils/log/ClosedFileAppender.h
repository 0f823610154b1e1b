#pragma once

#include <log4cplus/helpers/property.h>

namespace tarn::utils {

/// Lets the logging framework's file appenders make their files and folders closed to others than
/// their owner and his group, also when a new file is begun later; what an older version left open,
/// older files included, is closed. For a configuration that is about to be used, on the main
/// thread before there are others: the process's umask is changed for the moment of the opening.
///
/// Not the appender whose files are named by time alone: those have the mode of the umask.
void closeFilesIn(log4cplus::helpers::Properties& configuration);

}  // namespace tarn::utils
