// Loads the shared library at run time, uses it, closes it and loads it again, like a host of
// plug-ins. Arguments: PATH TIMES. The threads that use it end after it was closed.
#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>

#include <thread>

namespace {

using DirectoryFunction = int (*)(char*, unsigned int);

bool useOnce(const char* path) {
    void* const library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    void* const symbol = library != nullptr ? dlsym(library, "_Z18GetSystemDirectoryPcj") : nullptr;
    if (symbol == nullptr) {
        fprintf(stderr, "%s\n", dlerror());
        return false;
    }
    bool used = false;
    std::thread([&] {
        char directory[256] = "";
        used = reinterpret_cast<DirectoryFunction>(symbol)(directory, sizeof directory) == 1;
        dlclose(library);
    }).join();
    return used;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        return 2;
    }
    for (long left = strtol(argv[2], nullptr, 10); left > 0; --left) {
        if (!useOnce(argv[1])) {
            return 1;
        }
    }
    puts("closed");
    return 0;
}
