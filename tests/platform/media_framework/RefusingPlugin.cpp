extern "C" int KLNPluginInitialize() {
    return 42;
}
