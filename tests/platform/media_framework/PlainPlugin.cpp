extern "C" int somethingElse() {
    return 42;
}
