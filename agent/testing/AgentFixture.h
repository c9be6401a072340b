#pragma once

#include <gtest/gtest.h>

#include <string>

#include "agent/testing/TestAgent.h"

namespace varnock {

/// A GoogleTest fixture with an agent of its own for each test. Derive from it, and link
/// Varnock::AgentTesting. The members of a derived fixture end before the agent does.
class AgentFixture : public ::testing::Test {
  protected:
    /// The parameters are those of TestAgent.
    explicit AgentFixture(const std::string& machine = "typical", TestClock clock = TestClock::real)
        : agent_(machine, clock) {}

    /// The agent of this test.
    TestAgent& agent() { return agent_; }

  private:
    TestAgent agent_;
};

}  // namespace varnock
