#pragma once

/// Core of the media framework: plug-in loading and the framework's logging. A C interface, so that
/// plug-ins need not be built with our compiler. Any thread unless said otherwise.

#ifdef __cplusplus
extern "C" {
#endif

enum KLNLogLevel {
    KLN_LOG_TRACE = 0,
    KLN_LOG_DEBUG = 1,
    KLN_LOG_INFO = 2,
    KLN_LOG_WARNING = 3,
    KLN_LOG_ERROR = 4,
};

/// Chooses where the framework and its plug-ins log: `framework` "Log4CPlus" sends lines to the
/// process's log, each prefixed by "<loggerPrefix>.<logger> > ". `xmlConfig` is
/// "<Config><Logger>NAME</Logger></Config>". Returns 0; 1 for a null argument, 2 for another
/// framework, 3 for a configuration that is not of that form. Call before loading plug-ins.
int KLNSetLoggerFrameworkConfig(const char* framework, const char* loggerPrefix,
                                const char* xmlConfig);

/// Writes one line; dropped while no framework was set. A level above the known ones is an error.
/// For plug-ins.
void KLNLog(enum KLNLogLevel level, const char* message);

/// Loads a plug-in library for the life of the process and calls its
/// `int KLNPluginInitialize(void)` if it has one, which starts it by returning 0. Loading a started
/// library again succeeds and does not start it twice.
///
/// Before that it is loaded and started in a process of its own, for 10 s at most, by the program
/// tarnPluginTrial in the folder of the running one: what would end this process, or never come
/// back, is not loaded here. So a plug-in is started twice, in two processes.
///
/// Returns 0; 1 for a null or empty path, 2 when the library cannot be loaded, 3 when it refused to
/// start or threw a C++ exception, 4 when it ended the process in which it was tried, did not start
/// there in time, or cannot be tried. The reason of 2 to 4 is logged as a warning.
int KLNLoadPluginLibrary(const char* path);

#ifdef __cplusplus
}
#endif
