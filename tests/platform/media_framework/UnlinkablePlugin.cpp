extern "C" int aFunctionThatIsNowhere();

extern "C" int KLNPluginInitialize() {
    return aFunctionThatIsNowhere();
}
