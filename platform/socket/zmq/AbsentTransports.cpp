// What the messaging library would call for multicast and for Kerberos. No endpoint of ours can
// name the one, and no socket of ours offers the other; their libraries would cost each program a
// millisecond at its start, and a megabyte. The names and their number are the library's own.
#include <cstdlib>

extern "C" {

// The only ones that are called: when the process's first context is made, and after its last one.
bool pgm_init(void* /*error*/) {
    return true;
}
bool pgm_shutdown() {
    return true;
}

#define TARN_ABSENT(function)           \
    [[noreturn]] void function() {      \
        std::abort(); /* unreachable */ \
    }

TARN_ABSENT(pgm_bind3)
TARN_ABSENT(pgm_close)
TARN_ABSENT(pgm_connect)
TARN_ABSENT(pgm_error_free)
TARN_ABSENT(pgm_free)
TARN_ABSENT(pgm_freeaddrinfo)
TARN_ABSENT(pgm_getaddrinfo)
TARN_ABSENT(pgm_getsockopt)
TARN_ABSENT(pgm_gsi_create_from_data)
TARN_ABSENT(pgm_recvmsgv)
TARN_ABSENT(pgm_send)
TARN_ABSENT(pgm_setsockopt)
TARN_ABSENT(pgm_socket)

TARN_ABSENT(NormCreateInstance)
TARN_ABSENT(NormCreateSession)
TARN_ABSENT(NormDestroyInstance)
TARN_ABSENT(NormDestroySession)
TARN_ABSENT(NormGetDescriptor)
TARN_ABSENT(NormGetNextEvent)
TARN_ABSENT(NormGetRandomSessionId)
TARN_ABSENT(NormIsUnicastAddress)
TARN_ABSENT(NormNodeDelete)
TARN_ABSENT(NormObjectGetType)
TARN_ABSENT(NormObjectGetUserData)
TARN_ABSENT(NormObjectSetUserData)
TARN_ABSENT(NormSetCongestionControl)
TARN_ABSENT(NormSetDefaultSyncPolicy)
TARN_ABSENT(NormSetDefaultUnicastNack)
TARN_ABSENT(NormSetLoopback)
TARN_ABSENT(NormSetMulticastInterface)
TARN_ABSENT(NormSetRxPortReuse)
TARN_ABSENT(NormSetTTL)
TARN_ABSENT(NormStartReceiver)
TARN_ABSENT(NormStartSender)
TARN_ABSENT(NormStopInstance)
TARN_ABSENT(NormStopReceiver)
TARN_ABSENT(NormStopSender)
TARN_ABSENT(NormStreamFlush)
TARN_ABSENT(NormStreamOpen)
TARN_ABSENT(NormStreamRead)
TARN_ABSENT(NormStreamSeekMsgStart)
TARN_ABSENT(NormStreamWrite)

TARN_ABSENT(gss_accept_sec_context)
TARN_ABSENT(gss_acquire_cred)
TARN_ABSENT(gss_delete_sec_context)
TARN_ABSENT(gss_display_name)
TARN_ABSENT(gss_import_name)
TARN_ABSENT(gss_init_sec_context)
TARN_ABSENT(gss_release_buffer)
TARN_ABSENT(gss_release_cred)
TARN_ABSENT(gss_release_name)
TARN_ABSENT(gss_unwrap)
TARN_ABSENT(gss_wrap)

void* GSS_C_NT_HOSTBASED_SERVICE = nullptr;
void* GSS_C_NT_USER_NAME = nullptr;
void* NORM_INSTANCE_INVALID = nullptr;
void* NORM_OBJECT_INVALID = nullptr;
void* NORM_SESSION_INVALID = nullptr;
unsigned NORM_NODE_ANY = 0;

}  // extern "C"
