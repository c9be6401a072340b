extern "C" [[gnu::visibility("default")]] int nothing();

int nothing() {
    return 0;
}
