// examples/demo.sh runs to its end, and stops at a step that fails.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/integration/DevTree.h"

namespace varnock::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class Demo : public testing::Test {
  protected:
    Demo() {
        std::filesystem::remove(tree_.clone("build/release"));
        std::filesystem::create_directories(tree_.clone("build/release/bin"));
        for (const char* program : {VARNOCKCTL, VARNOCK_AGENT, FIRST_CALL}) {
            prepend(program, "");
        }
    }
    /// Inserts shell code before the program, which runs unless that code exits.
    void prepend(const std::string& program, const std::string& text) const {
        const std::string name = std::filesystem::path(program).filename();
        writeScript(tree_.clone("build/release/bin/" + name),
                    text + "\nexec " + program + " \"$@\"\n");
    }

    DevTree tree_;
};

TEST_F(Demo, ShowsTheMachineATraceAFailureAndAnEvent) {
    const ProcessResult result = tree_.run("./dev demo");
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(result.out, AllOf(HasSubstr("varnockctl inventory\n"), HasSubstr("processors: "),
                                  HasSubstr("Kolm::getNumberCPUs(0)"), HasSubstr("exit status 3"),
                                  HasSubstr("systemMessageLog 42"), HasSubstr("dev demo: done")));
    EXPECT_THAT(result.out + result.err, Not(HasSubstr("\033")));
}

TEST_F(Demo, LeavesTheDirectoriesOfItsUserAlone) {
    const TemporaryDirectory own;
    writeFile(own.file("registry"), "");
    const ProcessResult result =
        tree_.run("export QX_SYSTEM_DIR=" + own.path().string() +
                  " QX_LOG_RINGBUF_DIR=" + own.path().string() + " TraceFileLimit=0; ./dev demo");
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(readFile(own.file("registry")), "");
    EXPECT_FALSE(std::filesystem::exists(own.file("log.CIM_Provider_a")));
}

/// A program that fails in one step, and the step.
struct Fault {
    const char* name;
    const char* program;
    const char* text;
    const char* step;
};

/// For the name of the test.
void PrintTo(const Fault& fault, std::ostream* out) {
    *out << fault.name;
}

class DemoStep : public Demo, public testing::WithParamInterface<Fault> {};

TEST_P(DemoStep, ThatFailsEndsTheDemo) {
    prepend(GetParam().program, GetParam().text);
    const ProcessResult result = tree_.run("./dev demo");
    EXPECT_NE(result.status, 0);
    EXPECT_THAT(result.err, HasSubstr("demo: this step failed: "));
    EXPECT_THAT(result.err.substr(result.err.rfind("this step failed")),
                HasSubstr(GetParam().step));
    EXPECT_THAT(result.out, Not(HasSubstr("dev demo: done")));
}

INSTANTIATE_TEST_SUITE_P(
    All, DemoStep,
    testing::Values(
        Fault{"Inventory", VARNOCKCTL, "[[ $1 != inventory ]] || exit 7", "inventory"},
        Fault{"Program", FIRST_CALL, "exit 1", "first_call"},
        Fault{"Trace", VARNOCKCTL, "[[ $1 != trace ]] || exit 3", "varnockctl trace"},
        Fault{"CallThatSucceeds", VARNOCKCTL, "[[ $1 != call ]] || exit 0", "--cabinet 99"},
        Fault{"CallWithoutAnAgent", VARNOCKCTL, "[[ $1 != call ]] || exit 4", "--cabinet 99"},
        Fault{"Watch", VARNOCKCTL, "[[ $1 != watch ]] || exit 4", "varnockctl watch"},
        Fault{"Event", VARNOCK_AGENT, "[[ \"$1 $2\" != 'ctl event' ]] || exit 2",
              "varnockctl watch"},
        Fault{"Status", VARNOCK_AGENT, "[[ \"$1 $2\" != 'ctl status' ]] || exit 4",
              "varnockctl watch"}),
    [](const auto& fault) { return fault.param.name; });

}  // namespace
}  // namespace varnock::test
