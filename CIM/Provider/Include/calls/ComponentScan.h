#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "CIM/Provider/Include/calls/CallEngine.h"

namespace varnock::calls {

/// The result of a component scan for one component.
struct ScannedComponent {
    unsigned int index;
    std::optional<uint8> kind;       ///< absent if the record is too short
    std::vector<std::string> texts;  ///< the identity texts, ten in the known record version
};

/// A component scan: the agent opens it and returns a token, reports the number of components,
/// returns one record for each, and keeps the scan until it is closed. Trace and failure texts name
/// the calling typed call.
///
/// Thread-safety: one scan may be used by one thread.
class ComponentScan {
  public:
    enum class Opened { yes, requestFailed, noToken };

    ComponentScan(const CallEngine& engine, const char* call, unsigned int cabinetNr)
        : engine_(engine), call_(call), cabinet_(cabinetNr) {}

    [[nodiscard]] Opened open();
    /// open() for calls that can work without a scan: on failure it traces at level 1 and returns
    /// false.
    [[nodiscard]] bool openOrTrace();
    /// Calls `visit` for every component that can be read, and always closes the scan. Throws
    /// BaseException if the agent does not report the number.
    /// REQUIRES: open() returned true.
    void visitAndClose(const std::function<void(const ScannedComponent&)>& visit);
    /// True for ten texts; otherwise traces that the record has another version.
    bool isKnownVersion(const ScannedComponent& component) const;

  private:
    [[nodiscard]] bool request(unsigned int opcode, unsigned int object);
    unsigned int count();
    void visitAll(const std::function<void(const ScannedComponent&)>& visit);
    ScannedComponent component(unsigned int index) const;
    void close();
    void closeAfterFailure();

    const CallEngine& engine_;
    const char* call_;
    unsigned int cabinet_;
    unsigned int token_ = 0;
    SipJson record_;
};

}  // namespace varnock::calls
