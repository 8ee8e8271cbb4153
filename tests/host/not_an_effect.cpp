extern "C" [[gnu::visibility("default")]] int answer() {
    return 42;
}
