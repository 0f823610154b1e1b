extern "C" int KLNPluginInitialize() {
    throw 5;
}
