// A process that loads an empty shared library.
extern "C" int nothing();

int main() {
    return nothing();
}
