// The sampler on the real machine, with a child whose arguments, folder,
// port and processor use the test knows.

#include "TarnoCore/Performance/ProcessSampler.hpp"

#include "Support/TemporaryFolder.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <thread>

#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

namespace tarno {
namespace {

using namespace std::chrono_literals;

// Listens on a loopback port, prints it, then idles until told to spin.
constexpr const char* childScript = "import socket, sys\n"
                                    "s = socket.socket(socket.AF_INET6 if sys.argv[1] == '6' else socket.AF_INET)\n"
                                    "s.bind(('::1' if sys.argv[1] == '6' else '127.0.0.1', 0))\n"
                                    "s.listen()\n"
                                    "print(s.getsockname()[1], flush=True)\n"
                                    "sys.stdin.readline()\n"
                                    "while True: pass\n";

class ListeningChild {
public:
    ListeningChild(const std::string& folder, const std::string& family)
        : arguments{python, "-c", childScript, family, "tarno marker"}
    {
        int toChild[2];
        int fromChild[2];
        if (::pipe(toChild) != 0 || ::pipe(fromChild) != 0)
            return;
        m_pid = ::fork();
        if (m_pid == 0) {
            ::dup2(toChild[0], 0);
            ::dup2(fromChild[1], 1);
            ::close(toChild[1]);
            ::close(fromChild[0]);
            std::vector<char*> argv;
            for (std::string& argument : arguments)
                argv.push_back(argument.data());
            argv.push_back(nullptr);
            if (::chdir(folder.c_str()) == 0)
                ::execv(python, argv.data());
            ::_exit(127);
        }
        ::close(toChild[0]);
        ::close(fromChild[1]);
        m_input = toChild[1];
        std::string line;
        for (char character = 0; ::read(fromChild[0], &character, 1) == 1 && character != '\n';)
            line += character;
        ::close(fromChild[0]);
        port = static_cast<std::uint16_t>(std::atoi(line.c_str()));
    }
    ~ListeningChild()
    {
        if (m_pid > 0 && ::kill(m_pid, SIGTERM) == 0)
            ::waitpid(m_pid, nullptr, 0);
        if (m_input >= 0)
            ::close(m_input);
    }
    ListeningChild(const ListeningChild&) = delete;
    ListeningChild& operator=(const ListeningChild&) = delete;

    void spin() const { (void)!::write(m_input, "\n", 1); }
    pid_t pid() const { return m_pid; }

    static constexpr const char* python = "/usr/bin/python3";
    std::vector<std::string> arguments;
    std::uint16_t port = 0;

private:
    pid_t m_pid = -1;
    int m_input = -1;
};

const ProcessSnapshot* snapshotOf(const ProcessSample& sample, std::int32_t pid)
{
    const auto found = std::ranges::find(sample.processes, pid, &ProcessSnapshot::pid);
    return found == sample.processes.end() ? nullptr : &*found;
}

TEST(ProcessSamplerLive, FindsAListeningChildAndItsProcessorUse)
{
    if (::access(ListeningChild::python, X_OK) != 0)
        GTEST_SKIP() << "no " << ListeningChild::python;
    const test::TemporaryFolder folder;
    const std::string workingFolder = std::filesystem::canonical(folder.makeFolder("served site")).string();
    ListeningChild child(workingFolder, "4");
    ASSERT_GT(child.pid(), 0);
    ASSERT_NE(child.port, 0);

    EXPECT_EQ(ProcessSampler::arguments(child.pid()), child.arguments);
    EXPECT_EQ(ProcessSampler::workingDirectory(child.pid()), workingFolder);
    EXPECT_EQ(ProcessSampler::listeningPorts(child.pid()), (std::vector<std::uint16_t>{child.port}));
    const std::vector<std::string> folders = ProcessSampler::workingDirectories();
    EXPECT_NE(std::ranges::find(folders, workingFolder), folders.end());

    ProcessSampler sampler;
    const ProcessSample first = sampler.sample();
    std::this_thread::sleep_for(400ms);
    const ProcessSample idle = sampler.sample();
    const ProcessSnapshot* resting = snapshotOf(idle, child.pid());
    ASSERT_NE(resting, nullptr);
    EXPECT_EQ(resting->parentPID, ::getpid());
    EXPECT_TRUE(resting->name.starts_with("python3")) << resting->name;
    EXPECT_TRUE(resting->path.starts_with("/usr/bin/python3")) << resting->path;
    EXPECT_GT(resting->memoryBytes, 1'000'000);
    EXPECT_LT(resting->cpuPercent, 5.0);
    ASSERT_TRUE(resting->started);
    EXPECT_LT(std::chrono::abs(std::chrono::system_clock::now() - *resting->started), 60s);

    const ProcessSnapshot* self = snapshotOf(first, ::getpid());
    ASSERT_NE(self, nullptr);
    EXPECT_EQ(self->path, std::filesystem::read_symlink("/proc/self/exe").string());

    child.spin();
    std::this_thread::sleep_for(100ms);
    sampler.sample();
    std::this_thread::sleep_for(600ms);
    const ProcessSample busy = sampler.sample();
    const ProcessSnapshot* spinning = snapshotOf(busy, child.pid());
    ASSERT_NE(spinning, nullptr);
    EXPECT_GT(spinning->cpuPercent, 20.0) << "a spinning child holds most of one core";
    EXPECT_LT(spinning->cpuPercent, 105.0) << "one thread cannot pass one core";

    const auto group = std::ranges::find_if(busy.groups, [&](const ProcessGroup& candidate) {
        return std::ranges::find(candidate.pids, child.pid()) != candidate.pids.end();
    });
    ASSERT_NE(group, busy.groups.end());
    EXPECT_EQ(group->id, spinning->name);
    EXPECT_FALSE(group->isSystemService);
}

TEST(ProcessSamplerLive, ReadsAnIPv6ListeningSocket)
{
    if (::access(ListeningChild::python, X_OK) != 0)
        GTEST_SKIP() << "no " << ListeningChild::python;
    test::TemporaryFolder folder;
    ListeningChild child(folder.path(), "6");
    if (child.port == 0)
        GTEST_SKIP() << "no IPv6 loopback here";
    EXPECT_EQ(ProcessSampler::tcpSockets(child.pid()),
              (std::vector<TCPSocket>{{TCPSocket::State::listening, child.port, 0}}));
}

} // namespace
} // namespace tarno
