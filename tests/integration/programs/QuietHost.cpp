// A program that starts without files, traces, and later reads the registry.
#include <stdio.h>

#include "runtime/Debug.h"
#include "runtime/Registry.h"
#include "runtime/StartMode.h"

constinit const varnock::StartMode varnock::startMode = varnock::StartMode::withoutFiles;

int main() {
    printf("read at the start: %d\n", CRegistry::MIsSetup);
    Debug.Print(0, "level 0");
    Debug.Print(1, "level 1");
    CRegistry key;
    printf("opened: %ld\n", key.Open("SOFTWARE", CRegistry::MLocalMachine));
}
