#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "CIM/Provider/Include/calls/CallEngine.h"

namespace varnock::calls {

/// What a component scan says about one component.
struct ScannedComponent {
    unsigned int index;
    std::optional<uint8> kind;       ///< none when the record is too short to hold one
    std::vector<std::string> texts;  ///< the identity texts, ten in a record of the known version
};

/// A component scan: the agent opens it and gives a token, tells the number of components, gives
/// one record for each, and keeps the scan until it is closed. The texts name the call on whose
/// behalf it runs.
///
/// Thread-safety: one scan is to be used by one thread.
class ComponentScan {
  public:
    enum class Opened { yes, requestFailed, noToken };

    ComponentScan(const CallEngine& engine, const char* call, unsigned int cabinetNr)
        : engine_(engine), call_(call), cabinet_(cabinetNr) {}

    Opened open();
    /// open() for the calls that do without a scan when there is none: false after a trace of
    /// level 1.
    bool openOrTrace();
    /// Calls `visit` for every component that can be read and closes the scan, whatever happens.
    /// Throws BaseException when the agent does not tell the number.
    /// REQUIRES: open() gave yes.
    void visitAndClose(const std::function<void(const ScannedComponent&)>& visit);
    /// True for ten texts; otherwise traces that the record is of another version.
    bool isKnownVersion(const ScannedComponent& component) const;

  private:
    bool request(unsigned int opcode, unsigned int object);
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
