#pragma once

#include <map>
#include <tuple>

#include "tests/support/ScriptedAgent.h"

namespace varnock::test {

/// A small server for the scripted agent: two fans, a temperature sensor, a voltage, two power
/// supplies, a processor's power consumption. The codes of a status are those of the development
/// agent.
class ServerMachine {
  public:
    /// The handler; it may outlive this object.
    ScriptedAgent::Handler handler() const { return answer; }

  private:
    static AgentReply answer(const AgentRequest& request) {
        const auto fact = facts().find({request.opcode, request.ext, request.object});
        return fact != facts().end() ? AgentReply::ok(fact->second) : AgentReply::status(19);
    }

    /// By operation code, extension and object.
    using Facts = std::map<std::tuple<unsigned int, unsigned int, unsigned int>, std::string>;
    static const Facts& facts() {
        static const Facts all{
            {{0xE204, 0, 0}, numberData(0)},
            {{0x0C00, 0xA303, 0}, textData("7.00-10")},
            {{0x0C00, 0x0608, 0}, textData("Server \"9\"")},
            {{0x230F, 0, 0}, numberData(1)},
            {{0x0513, 0, 0}, numberData(1)},
            {{0x0514, 0, 0}, numberData(1)},
            {{0x0300, 0, 0}, numberData(2)},
            {{0x0301, 0, 0}, numberData(1)},
            {{0x0301, 0, 1}, numberData(1)},
            {{0x0302, 0, 0}, numberData(5400)},
            {{0x0302, 0, 1}, numberData(5280)},
            {{0x0304, 0, 0}, textData("FAN 1")},
            {{0x0304, 0, 1}, textData("FAN 2")},
            {{0x0400, 0, 0}, numberData(1)},
            {{0x0401, 0, 0}, numberData(1)},
            {{0x0402, 0, 0}, numberData(24)},
            {{0x0404, 0, 0}, textData("AMBIENT")},
            {{0xE001, 0x0090, 0}, numberData(37)},
            {{0xE001, 0x0091, 0}, numberData(42)},
            {{0x0520, 0, 0}, numberData(1)},
            {{0x0521, 0, 0}, numberData(1)},
            {{0x0522, 0, 0}, textData("12 V")},
            {{0x0524, 0, 0}, numberData(12100)},
            {{0x0527, 0, 0}, numberData(12000)},
            {{0x0500, 0, 0}, numberData(2)},
            {{0x0501, 0, 0}, numberData(1)},
            {{0x0501, 0, 1}, numberData(1)},
            {{0x0504, 0, 0}, textData("PSU 1")},
            {{0x0504, 0, 1}, textData("PSU 2")},
            {{0x0506, 0, 0}, numberData(180)},
            {{0x0506, 0, 1}, numberData(176)},
            {{0x0507, 0, 0}, numberData(800)},
            {{0x0507, 0, 1}, numberData(800)},
            {{0x0530, 0, 0}, bytesData({4})},
            {{0x0531, 4, 0}, numberData(1)},
            {{0x0532, 4, 0}, textData("CPU 1")},
            {{0x0533, 4, 0}, numberData(85)},
        };
        return all;
    }
};

}  // namespace varnock::test
