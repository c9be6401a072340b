// What is shipped for monitoring, with Debian's Prometheus and node exporter: the metrics from the
// agent to an alert, the rules, the dashboard and the units.
#include <gtest/gtest.h>
#include <poll.h>
#include <rapidjson/document.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tests/integration/Http.h"
#include "tests/support/ScriptedAgent.h"
#include "tests/support/ServerMachine.h"
#include "tests/support/Subprocess.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TextFile.h"

namespace varnock::test {
namespace {

const std::string kShipped = std::string(SOURCE_TREE) + "/examples/monitoring/";

/// A program of Prometheus.
std::string program(const std::string& name) {
    const char* folder = std::getenv("VARNOCK_TEST_PROMETHEUS");
    return (folder != nullptr ? folder : SOURCE_TREE "/build/monitoring/usr/bin") + ("/" + name);
}

/// Whether the condition becomes true. The limit is for a machine that is very busy.
bool eventually(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(2);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        poll(nullptr, 0, 20);  // leaves the processor to the servers
    }
    return true;
}

/// A server program that listens on a port of its own choice.
class Server {
  public:
    Server(const TemporaryDirectory& directory, std::vector<std::string> command)
        : log_(directory.file(std::filesystem::path(command[0]).filename().string() + ".log")) {
        command.emplace_back("--web.listen-address=127.0.0.1:0");
        command.insert(command.begin(), {"sh", "-c", "exec \"$@\" 2>\"$0\"", log_});
        process_ = std::make_unique<Subprocess>(command);
        EXPECT_TRUE(eventually([this] { return findPort(); })) << readFile(log_);
    }

    std::string get(const std::string& target) const { return httpGet(port_, target); }
    std::string address() const { return "127.0.0.1:" + std::to_string(port_); }

  private:
    bool findPort() {
        const std::string log = std::filesystem::exists(log_) ? readFile(log_) : "";
        const std::string before = "msg=\"Listening on\" address=127.0.0.1:";
        const std::size_t at = log.find(before);
        if (at == log.npos || log.find('\n', at) == log.npos) {
            return false;
        }
        port_ = static_cast<std::uint16_t>(std::stoul(log.substr(at + before.size())));
        return true;
    }

    std::string log_;
    std::uint16_t port_ = 0;
    std::unique_ptr<Subprocess> process_;
};

rapidjson::Document parsed(const std::string& text) {
    rapidjson::Document document;
    document.Parse(text.c_str());
    return document;
}

/// A fleet of one node: an agent, a file of metrics, the node exporter and Prometheus.
class Monitoring : public testing::Test {
  protected:
    void SetUp() override {
        for (const char* name : {"prometheus", "promtool", "prometheus-node-exporter"}) {
            if (access(program(name).c_str(), X_OK) != 0) {
                GTEST_SKIP() << "there is no " << program(name) << "; ./dev test fetches it";
            }
        }
    }

    void startFleet() {
        std::filesystem::create_directory(directory_.file("textfile"));
        exporter_ = std::make_unique<Server>(
            directory_, std::vector<std::string>{
                            program("prometheus-node-exporter"), "--collector.disable-defaults",
                            "--collector.textfile",
                            "--collector.textfile.directory=" + directory_.file("textfile")});
        writeFile(directory_.file("prometheus.yml"),
                  "global: {scrape_interval: 200ms, evaluation_interval: 200ms}\n"
                  "rule_files: [\"" +
                      kShipped +
                      "varnock-alerts.yml\"]\n"
                      "scrape_configs: [{job_name: node, static_configs: [{targets: [\"" +
                      exporter_->address() + "\"]}]}]\n");
        prometheus_ = std::make_unique<Server>(
            directory_,
            std::vector<std::string>{program("prometheus"),
                                     "--config.file=" + directory_.file("prometheus.yml"),
                                     "--storage.tsdb.path=" + directory_.file("data")});
    }

    /// Runs the command of the service; returns its status.
    int writeMetrics() {
        return runProcess({VARNOCKCTL, "metrics", "--timeout", "20", "--file",
                           directory_.file("textfile/varnock.prom")},
                          {{"QX_RAGD_SOCKET_DIR", agentDirectory_}})
            .status;
    }

    /// What Prometheus answers to a query: the list of series, null on an error.
    rapidjson::Document query(const std::string& expression) const {
        auto reply = parsed(prometheus_->get("/api/v1/query?query=" + percentEncoded(expression)));
        rapidjson::Document result;
        if (reply.IsObject() && reply.HasMember("data")) {
            result.CopyFrom(reply["data"]["result"], result.GetAllocator());
        }
        return result;
    }

    /// The one value that Prometheus answers; empty if there is not exactly one.
    std::string valueOf(const std::string& expression) const {
        const auto result = query(expression);
        return result.IsArray() && result.Size() == 1 ? result[0]["value"][1].GetString() : "";
    }

    TemporaryDirectory directory_;
    const TemporaryDirectory agentFiles_;
    const std::string agentDirectory_ = agentFiles_.path();
    std::unique_ptr<Server> exporter_;
    std::unique_ptr<Server> prometheus_;
};

/// The queries of a dashboard, with every node selected.
std::vector<std::string> queriesOf(const rapidjson::Document& dashboard) {
    std::vector<std::string> queries;
    for (const auto& panel : dashboard["panels"].GetArray()) {
        for (const auto& target : panel["targets"].GetArray()) {
            std::string expression = target["expr"].GetString();
            const std::string variable = "$instance";
            for (std::size_t at; (at = expression.find(variable)) != expression.npos;) {
                expression.replace(at, variable.size(), ".*");
            }
            queries.push_back(expression);
        }
    }
    return queries;
}

TEST_F(Monitoring, AFanThatFailsIsAnAlert) {
    Subprocess agent({VARNOCK_AGENT, "serve", "--machine", "typical", "--dir", agentDirectory_,
                      "--ready-fd", "1"});
    ASSERT_TRUE(agent.waitForOutput("\n"));
    startFleet();
    ASSERT_EQ(writeMetrics(), 0);
    ASSERT_TRUE(eventually(
        [&] { return valueOf("varnock_fan_speed_rpm{designation=\"FAN 2 SYS\"}") == "5340"; }));
    EXPECT_EQ(
        valueOf("varnock_fan_speed_rpm{designation=\"FAN 1 SYS\",cabinet=\"0\",object=\"0\"}"),
        "5280");
    EXPECT_EQ(valueOf("varnock_voltage_volts{designation=\"MAIN 12V\"}"), "12.1");
    EXPECT_EQ(valueOf("count({__name__=~\"node_textfile_scrape_error\"} == 0)"), "1");

    const ProcessResult failed = runProcess({VARNOCK_AGENT, "ctl", "--dir", agentDirectory_, "set",
                                             "cabinets[0].fans[1].status", "failed"});
    ASSERT_EQ(failed.status, 0) << failed.err;
    ASSERT_EQ(writeMetrics(), 0);
    const std::string firing = "ALERTS{alertname=\"VarnockFanFailed\",alertstate=\"firing\"}";
    ASSERT_TRUE(eventually([&] { return !query(firing).Empty(); }));
    const auto alerts = query(firing);
    ASSERT_EQ(alerts.Size(), 1U);
    EXPECT_EQ(alerts[0]["metric"]["designation"], "FAN 2 SYS");
    EXPECT_EQ(alerts[0]["metric"]["severity"], "critical");
    EXPECT_EQ(alerts[0]["metric"]["instance"].GetString(), exporter_->address());
    EXPECT_EQ(valueOf("count(ALERTS{alertname=~\"Varnock.+\"})"), "1");

    // The dashboard shows this fleet: each query is valid and has an answer.
    const auto queries = queriesOf(parsed(readFile(kShipped + "varnock-dashboard.json")));
    EXPECT_GT(queries.size(), 10U);
    for (const std::string& expression : queries) {
        const auto result = query(expression);
        ASSERT_TRUE(result.IsArray()) << expression;
        EXPECT_FALSE(result.Empty()) << expression;
    }

    agent.signal(SIGTERM);
    EXPECT_EQ(agent.wait().status, 0);
    EXPECT_EQ(writeMetrics(), 4);
    EXPECT_TRUE(eventually([&] { return valueOf("varnock_up") == "0"; }));
    EXPECT_TRUE(eventually(
        [&] { return valueOf("count(ALERTS{alertname=\"VarnockAgentUnreachable\"})") == "1"; }));
}

TEST_F(Monitoring, PromtoolFindsNoFaultWithTheMetrics) {
    ScriptedAgent agent;
    agent.handle(ServerMachine().handler());
    const std::string check = "\"$0\" metrics | \"$1\" check metrics";
    const ProcessResult up = runProcess({"sh", "-c", check, VARNOCKCTL, program("promtool")});
    EXPECT_EQ(up.status, 0) << up.out << up.err;
    EXPECT_EQ(up.out + up.err, "");
    agent.stop();
    const ProcessResult down = runProcess({"sh", "-c", check, VARNOCKCTL, program("promtool")});
    EXPECT_EQ(down.status, 0) << down.out << down.err;
}

TEST_F(Monitoring, PromtoolFindsNoFaultWithMetricsOfHostileTexts) {
    ScriptedAgent agent;
    agent.handle([machine = ServerMachine().handler()](const AgentRequest& request) {
        return request.opcode == 0x0304 ? AgentReply::ok("\"a\\\"} 1\\n# EOF\\\\ \xFF \\u0001\"")
                                        : machine(request);
    });
    const ProcessResult result = runProcess(
        {"sh", "-c", "\"$0\" metrics | \"$1\" check metrics", VARNOCKCTL, program("promtool")});
    EXPECT_EQ(result.status, 0) << result.out << result.err;
}

TEST_F(Monitoring, TheAlertRulesPassTheirTests) {
    for (const std::vector<std::string>& check :
         {std::vector<std::string>{"check", "rules", kShipped + "varnock-alerts.yml"},
          {"test", "rules", kShipped + "varnock-alerts-test.yml"}}) {
        std::vector<std::string> command{program("promtool")};
        command.insert(command.end(), check.begin(), check.end());
        const ProcessResult result = runProcess(command);
        EXPECT_EQ(result.status, 0) << result.out << result.err;
    }
}

TEST_F(Monitoring, TheConfigurationIsValid) {
    for (const char* name : {"prometheus.yml", "varnock-alerts.yml"}) {
        std::filesystem::copy(kShipped + name, directory_.file(name));
    }
    writeFile(directory_.file("nodes.json"), "[{\"targets\": [\"node1:9100\"]}]\n");
    const ProcessResult result =
        runProcess({program("promtool"), "check", "config", directory_.file("prometheus.yml")});
    EXPECT_EQ(result.status, 0) << result.out << result.err;
}

TEST(MonitoringUnits, AreValid) {
    if (runProcess({"sh", "-c", "command -v systemd-analyze"}).status != 0) {
        GTEST_SKIP() << "there is no systemd-analyze";
    }
    const TemporaryDirectory directory;
    std::vector<std::string> command{"systemd-analyze", "verify", "--man=no"};
    for (const char* name : {"varnock-metrics.service", "varnock-metrics.timer"}) {
        std::string unit = readFile(kShipped + name);
        // systemd looks for the program where programs are installed.
        if (const std::size_t at = unit.find("ExecStart=varnockctl"); at != unit.npos) {
            unit.insert(at + std::string("ExecStart=").size(),
                        std::filesystem::path(VARNOCKCTL).parent_path().string() + "/");
        }
        writeFile(directory.file(name), unit);
        command.push_back(directory.file(name));
    }
    const ProcessResult result = runProcess(command);
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.err, "");
}

}  // namespace
}  // namespace varnock::test
