#include "korabort.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <climits>
#include <csignal>
#include <cstdint>
#include <string>
#include <vector>

namespace {

struct Ending {
  std::vector<std::string> writes;  // what each write brought
  int status = 0;
};

// Aborts in a child whose standard error is a pipe that keeps writes apart.
Ending Abort(const char* message, const char* source, int line) {
  Ending ending;
  int ends[2];
  if (pipe2(ends, O_DIRECT) != 0) {
    ADD_FAILURE() << "no pipe";
    return ending;
  }
  const pid_t child = fork();
  if (child == 0) {
    const rlimit noCore = {0, 0};
    setrlimit(RLIMIT_CORE, &noCore);
    dup2(ends[1], STDERR_FILENO);
    close(ends[0]);
    close(ends[1]);
    _korAbort(message, source, line);
  }
  close(ends[1]);
  char packet[2 * PIPE_BUF];
  for (ssize_t got = 0; (got = read(ends[0], packet, sizeof(packet))) > 0;) {
    ending.writes.emplace_back(packet, static_cast<std::size_t>(got));
  }
  close(ends[0]);
  waitpid(child, &ending.status, 0);
  return ending;
}

// The only write of an abort.
std::string Line(const char* message, const char* source, int line) {
  const Ending ending = Abort(message, source, line);
  EXPECT_EQ(ending.writes.size(), 1U);
  return ending.writes.empty() ? "" : ending.writes[0];
}

TEST(KorAbort, WritesOneLineAtOnceAndAborts) {
  const Ending ending = Abort("Hash table overflow.", "velstd/services/velbdict", 123);
  ASSERT_EQ(ending.writes.size(), 1U);
  EXPECT_EQ(ending.writes[0], "Hash table overflow. (velstd/services/velbdict, line 123)\n");
  EXPECT_TRUE(WIFSIGNALED(ending.status));
  EXPECT_EQ(WTERMSIG(ending.status), SIGABRT);
}

TEST(KorAbort, WritesEveryLineNumber) {
  EXPECT_EQ(Line("m", "s", 0), "m (s, line 0)\n");
  EXPECT_EQ(Line("m", "s", -5), "m (s, line -5)\n");
  EXPECT_EQ(Line("m", "s", INT_MAX), "m (s, line 2147483647)\n");
  EXPECT_EQ(Line("m", "s", INT_MIN), "m (s, line -2147483648)\n");
}

TEST(KorAbort, PrintsNoDirectives) {
  EXPECT_EQ(Line("100%s %n", "%d", 1), "100%s %n (%d, line 1)\n");
}

TEST(KorAbort, NullTextsAreEmpty) {
  EXPECT_EQ(Line(nullptr, nullptr, 1), " (, line 1)\n");
  EXPECT_EQ(Line(reinterpret_cast<const char*>(std::uintptr_t{1}), "s", 1), " (s, line 1)\n");
  EXPECT_EQ(Line(reinterpret_cast<const char*>(std::uintptr_t{2}), "s", 1), "uninit (s, line 1)\n");
}

TEST(KorAbort, ALineTooLongLosesTheEndOfItsMessage) {
  const std::string message(6000, 'm');
  const std::string line = Line(message.c_str(), "source", 42);
  EXPECT_LE(line.size(), 4096U);
  EXPECT_GT(line.size(), 4000U);
  const std::string tail = "m (source, line 42)\n";
  ASSERT_GT(line.size(), tail.size());
  EXPECT_EQ(line.substr(line.size() - tail.size()), tail);
  const std::string whole(4000, 'w');
  EXPECT_EQ(Line(whole.c_str(), "source", 42), whole + " (source, line 42)\n");
}

TEST(KorAbort, AbortsWithoutStandardError) {
  const pid_t child = fork();
  if (child == 0) {
    const rlimit noCore = {0, 0};
    setrlimit(RLIMIT_CORE, &noCore);
    close(STDERR_FILENO);
    _korAbort("m", "s", 1);
  }
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_TRUE(WIFSIGNALED(status));
  EXPECT_EQ(WTERMSIG(status), SIGABRT);
}

}  // namespace
