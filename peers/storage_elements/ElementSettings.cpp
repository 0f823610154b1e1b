#include "peers/storage_elements/ElementSettings.h"

#include <stdexcept>

namespace tarn::peers::storage_elements {

namespace {

constexpr auto flags = static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS);

}  // namespace

void installSharedProperties(GObjectClass* type) {
    g_object_class_install_property(
        type, PropertyLocation,
        g_param_spec_string("location", "Location",
                            "Where the loop storage server listens: unix:PATH or tcp:HOST:PORT", "",
                            flags));
    g_object_class_install_property(
        type, PropertyTrack,
        g_param_spec_int64("track", "Track", "The id of the track", -1, G_MAXINT64, -1, flags));
    g_object_class_install_property(
        type, PropertyWorkerName,
        g_param_spec_string("worker-name", "Worker name",
                            "What the server shows this worker as, at most 20 bytes; the "
                            "element's own name when it is empty",
                            "", flags));
    g_object_class_install_property(
        type, PropertyCertificate,
        g_param_spec_string("certificate", "Certificate",
                            "Over TCP, encrypted: the file with the secret key and certificate "
                            "that the server knows",
                            "", flags));
    g_object_class_install_property(
        type, PropertyFingerprint,
        g_param_spec_string("fingerprint", "Fingerprint",
                            "The SHA-256 of the server's certificate, in hexadecimal", "", flags));
}

Location locationOf(const ElementSettings& settings) {
    auto location = parseLocation(settings.location);
    if (settings.certificate.empty() != settings.fingerprint.empty()) {
        throw std::invalid_argument("a certificate and the server's fingerprint belong together");
    }
    if (!settings.certificate.empty() && location.port == 0) {
        throw std::invalid_argument("a certificate is for locations over TCP");
    }
    location.certificate = settings.certificate;
    location.fingerprint = settings.fingerprint;
    return location;
}

std::string textOf(const GValue* value) {
    const char* const text = g_value_get_string(value);
    return text != nullptr ? text : "";
}

bool setSharedProperty(ElementSettings& settings, guint property, const GValue* value) {
    switch (property) {
        case PropertyLocation:
            settings.location = textOf(value);
            return true;
        case PropertyTrack:
            settings.track = g_value_get_int64(value);
            return true;
        case PropertyWorkerName:
            settings.workerName = textOf(value);
            return true;
        case PropertyCertificate:
            settings.certificate = textOf(value);
            return true;
        case PropertyFingerprint:
            settings.fingerprint = textOf(value);
            return true;
        default:
            return false;
    }
}

bool getSharedProperty(const ElementSettings& settings, guint property, GValue* value) {
    switch (property) {
        case PropertyLocation:
            g_value_set_string(value, settings.location.c_str());
            return true;
        case PropertyTrack:
            g_value_set_int64(value, settings.track);
            return true;
        case PropertyWorkerName:
            g_value_set_string(value, settings.workerName.c_str());
            return true;
        case PropertyCertificate:
            g_value_set_string(value, settings.certificate.c_str());
            return true;
        case PropertyFingerprint:
            g_value_set_string(value, settings.fingerprint.c_str());
            return true;
        default:
            return false;
    }
}

}  // namespace tarn::peers::storage_elements
