#pragma once

namespace varnock::test {

/// Marks this process as one with elevated privileges, such as a set-user-id program, for a scope:
/// secure_getenv finds no variable. One at a time.
///
/// It replaces the function in the whole program, so tests link it by name:
/// varnock_test(... LIBRARIES varnock_elevated_process).
class ElevatedProcess {
  public:
    ElevatedProcess();
    ~ElevatedProcess();
    ElevatedProcess(const ElevatedProcess&) = delete;
    ElevatedProcess& operator=(const ElevatedProcess&) = delete;
};

}  // namespace varnock::test
