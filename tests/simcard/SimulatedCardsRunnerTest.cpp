#include <gtest/gtest.h>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "SimulatedCardConfig.h"

namespace {

std::string scratch(const std::string& name)
{
    const char* dir = getenv("TMPDIR");
    return std::string(dir ? dir : "/tmp") + "/simcard-" + std::to_string(getpid()) + "-" + name;
}

std::string readAll(const std::string& path)
{
    std::ifstream in(path);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

pid_t start(const std::vector<std::string>& args, const std::string& output)
{
    const pid_t pid = fork();
    if (pid == 0) {
        if (!output.empty() && freopen(output.c_str(), "w", stdout) == nullptr)
            _exit(126);
        std::vector<char*> argv;
        for (const std::string& a : args)
            argv.push_back(const_cast<char*>(a.c_str()));
        argv.push_back(nullptr);
        execv(argv[0], argv.data());
        _exit(127);
    }
    return pid;
}

int finish(pid_t pid)
{
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(SimulatedCardsRunner, RunsTheProgramOnTheCardsLogsAndReturnsItsStatus)
{
    const std::string config = scratch("cards.conf");
    const std::string log = scratch("requests.log");
    const std::string output = scratch("probe.out");
    std::ofstream(config) << "# two cards\ncard dv0 version=189\ncard io0\n  version 188\n";
    const pid_t pid = start({SIMCARD_RUNNER, "--config", config, "--log", log, "--",
                             SIMCARD_PROBE, "/dev/vantorix/dv0", "7"},
                            output);
    EXPECT_EQ(finish(pid), 7);
    EXPECT_EQ(readAll(output), "rc=0 version=189\n");
    EXPECT_EQ(readAll(log), "node=dv0 request=0x10000 counts=0,0,1,0 scalars=\n");
    unlink(config.c_str());
    unlink(log.c_str());
    unlink(output.c_str());
}

TEST(SimulatedCardsRunner, ForwardsSigtermAndReportsTheSignal)
{
    const std::string config = scratch("cards2.conf");
    std::ofstream(config) << "card dv0\n";
    const std::string started = scratch("started");
    unlink(started.c_str());
    // The runner installs its forwarding before it starts the program, so
    // once the program has left its mark, SIGTERM reaches the forwarding.
    const pid_t pid = start({SIMCARD_RUNNER, "--config", config, "--", "/bin/sh", "-c",
                             "echo > '" + started + "' && exec /bin/sleep 30"},
                            "");
    for (int waited = 0; waited < 20000 && access(started.c_str(), F_OK) != 0; waited += 10)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    ASSERT_EQ(access(started.c_str(), F_OK), 0);
    const auto begin = std::chrono::steady_clock::now();
    kill(pid, SIGTERM);
    EXPECT_EQ(finish(pid), 128 + SIGTERM);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
    unlink(config.c_str());
    unlink(started.c_str());
}

TEST(SimulatedCardsRunner, RejectsABadConfiguration)
{
    const std::string config = scratch("bad.conf");
    std::ofstream(config) << "card dv0\n  subdevice 1 2\n";
    EXPECT_EQ(finish(start({SIMCARD_RUNNER, "--config", config, "--", "/bin/true"}, "")), 2);
    unlink(config.c_str());
}

TEST(SimulatedCardConfig, ParsesCardLinesAndSettingLines)
{
    std::istringstream in(
        "card dv0 subdevice=1,2,7 firmware=3,14\n"
        "card io2\n"
        "  shared-page no   # pty node\n"
        "  fail-message gfwv 5\n"
        "  reply 0x90000 1 2\n"
        "  raw 0x7001 12\n");
    std::vector<simcard::NodeConfig> nodes;
    std::string error;
    ASSERT_TRUE(simcard::parseConfig(in, nodes, error)) << error;
    ASSERT_EQ(nodes.size(), 2u);
    EXPECT_EQ(nodes[0].name(), "dv0");
    EXPECT_EQ(nodes[0].subDeviceIndex, 1u);
    EXPECT_EQ(nodes[0].subDeviceCount, 2u);
    EXPECT_EQ(nodes[0].parentDeviceId, 7u);
    EXPECT_EQ(nodes[0].firmwareSecond, 14u);
    EXPECT_EQ(nodes[0].generation, simcard::Generation::Quorvale);
    EXPECT_EQ(nodes[1].name(), "io2");
    EXPECT_EQ(nodes[1].generation, simcard::Generation::VantorixIO);
    EXPECT_FALSE(nodes[1].sharedPage);
    EXPECT_EQ(nodes[1].messageReplies.at(simcard::fourcc("gfwv")).error, 5);
    EXPECT_EQ(nodes[1].replies.at(0x90000).scalars, (std::vector<uint64_t>{1, 2}));
    EXPECT_EQ(nodes[1].rawRequests.at(0x7001), 12u);
}

TEST(SimulatedCardConfig, ReportsTheLineOfAnError)
{
    std::istringstream in("card dv0\n\n  colour blue\n");
    std::vector<simcard::NodeConfig> nodes;
    std::string error;
    EXPECT_FALSE(simcard::parseConfig(in, nodes, error));
    EXPECT_EQ(error, "line 3: unknown setting colour");
}

TEST(SimulatedCardConfig, FormatsMessageAndRawRequestsOnOneLine)
{
    simcard::Request message;
    message.node = "io0";
    message.request = 0x90001;
    message.structInputSize = 40;
    message.structOutputSize = 40;
    message.message = true;
    message.messageCode = simcard::fourcc("gsub");
    message.messageScalars = {1, 0x20, 0, 0};
    EXPECT_EQ(simcard::formatRequest(message),
              "node=io0 request=0x90001 counts=0,40,0,40 scalars= code=gsub "
              "mscalars=0x1,0x20,0x0,0x0");
    simcard::Request raw;
    raw.node = "dv1";
    raw.request = 0x5001;
    raw.raw = true;
    raw.rawValue = 0x1000;
    raw.rawBytes = {0xAB, 0x01};
    EXPECT_EQ(simcard::formatRequest(raw), "node=dv1 request=0x5001 raw=0x1000 bytes=ab01");
}

TEST(SimulatedCardConfig, TakesFormatOneAsItsFirstLineOnly)
{
    std::vector<simcard::NodeConfig> nodes;
    std::string error;
    std::istringstream current("# cards\n\nformat 1\ncard dv0\n");
    EXPECT_TRUE(simcard::parseConfig(current, nodes, error)) << error;
    EXPECT_EQ(nodes.size(), 1u);

    nodes.clear();
    std::istringstream later("format 2\ncard dv0\n");
    EXPECT_FALSE(simcard::parseConfig(later, nodes, error));
    EXPECT_EQ(error, "line 1: format 2 is not understood here (this version reads format 1)");

    nodes.clear();
    std::istringstream misplaced("card dv0\nformat 1\n");
    EXPECT_FALSE(simcard::parseConfig(misplaced, nodes, error));
    EXPECT_EQ(error, "line 2: \"format N\" comes alone, before every other line");
}

TEST(SimulatedCardConfig, FormatsRequestsAsJsonObjects)
{
    simcard::Request message;
    message.node = "io0";
    message.request = 0x90001;
    message.structInputSize = 2;
    message.structOutputSize = 40;
    message.structInput = {0x67, 0x73};
    message.message = true;
    message.messageCode = simcard::fourcc("gsub");
    message.messageScalars = {1, 0x20, 0, 0};
    EXPECT_EQ(simcard::formatRequestJson(message),
              "{\"node\":\"io0\",\"request\":\"0x90001\",\"counts\":[0,2,0,40],\"scalars\":[],"
              "\"struct\":\"6773\",\"code\":\"gsub\",\"mscalars\":[\"0x1\",\"0x20\",\"0x0\",\"0x0\"]}");
    simcard::Request scalar;
    scalar.node = "dv0";
    scalar.request = 0x99a;
    scalar.scalarInputCount = 1;
    scalar.scalarInputs = {5};
    EXPECT_EQ(simcard::formatRequestJson(scalar),
              "{\"node\":\"dv0\",\"request\":\"0x99a\",\"counts\":[1,0,0,0],\"scalars\":[\"0x5\"],"
              "\"struct\":\"\"}");
    simcard::Request raw;
    raw.node = "dv1";
    raw.request = 0x5001;
    raw.raw = true;
    raw.rawValue = 0x1000;
    raw.rawBytes = {0xAB, 0x01};
    EXPECT_EQ(simcard::formatRequestJson(raw),
              "{\"node\":\"dv1\",\"request\":\"0x5001\",\"raw\":\"0x1000\",\"bytes\":\"ab01\"}");
}

}  // namespace
