// Process start on posix_spawn, waiting through a pidfd, ending with SIGKILL.
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <thread>
#include <vector>

#include "foundation/XLastError.h"
#include "foundation/XProcessLaunch.h"
#include "foundation/XTextCodec.h"

extern char** environ;

namespace {

// Owns the spawn attributes and file actions for one start.
struct SpawnSetup {
  posix_spawn_file_actions_t actions;
  posix_spawnattr_t attributes;
  int terminal = -1;

  SpawnSetup() {
    posix_spawn_file_actions_init(&actions);
    posix_spawnattr_init(&attributes);
  }
  ~SpawnSetup() {
    posix_spawn_file_actions_destroy(&actions);
    posix_spawnattr_destroy(&attributes);
    if (terminal >= 0) close(terminal);
  }
};

// The child starts with default signal handling, whatever this process ignores or blocks.
void ResetSignals(SpawnSetup& setup) {
  sigset_t all, none;
  sigfillset(&all);
  sigemptyset(&none);
  posix_spawnattr_setsigdefault(&setup.attributes, &all);
  posix_spawnattr_setsigmask(&setup.attributes, &none);
  posix_spawnattr_setflags(&setup.attributes, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
}

// Without a window the child reads nothing and writes to the user's terminal, if any.
void DetachStandardStreams(SpawnSetup& setup) {
  posix_spawn_file_actions_addopen(&setup.actions, 0, "/dev/null", O_RDONLY, 0);
  setup.terminal = open("/dev/tty", O_WRONLY | O_CLOEXEC | O_NOCTTY);
  if (setup.terminal >= 0) {
    posix_spawn_file_actions_adddup2(&setup.actions, setup.terminal, 1);
  } else {
    posix_spawn_file_actions_addopen(&setup.actions, 1, "/dev/null", O_WRONLY, 0);
  }
  posix_spawn_file_actions_adddup2(&setup.actions, 1, 2);
}

int NiceOfFlags(uint32_t flags) {
  if (flags & XCreateIdlePriority) return 19;
  if (flags & XCreateBelowNormalPriority) return 10;
  if (flags & XCreateAboveNormalPriority) return -5;
  if (flags & XCreateHighPriority) return -10;
  return 0;
}

uint32_t ExitCodeOf(int status) {
  if (WIFEXITED(status)) return static_cast<uint32_t>(WEXITSTATUS(status));
  if (WIFSIGNALED(status)) return 128u + static_cast<uint32_t>(WTERMSIG(status));
  return 0;
}

bool Reap(int pid, uint32_t& exitCode) {
  int status = 0;
  while (waitpid(pid, &status, 0) < 0) {
    if (errno != EINTR) return false;
  }
  exitCode = ExitCodeOf(status);
  return true;
}

// Nobody waits for this child: a thread of its own collects it, so it leaves no zombie.
void ReapLater(int pid) {
  std::thread([pid] {
    uint32_t ignored = 0;
    Reap(pid, ignored);
  }).detach();
}

// True when the child ended within the time; it is not collected here.
bool WaitExit(int pid, int pidfd, uint32_t milliseconds) {
  if (pidfd >= 0) {
    pollfd watch = {pidfd, POLLIN, 0};
    return poll(&watch, 1, static_cast<int>(milliseconds)) > 0;
  }
  siginfo_t info = {};
  uint32_t waited = 0;
  while (true) {
    info.si_pid = 0;
    if (waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
        info.si_pid == pid) {
      return true;
    }
    if (waited >= milliseconds) return false;
    usleep(10000);
    waited += 10;
  }
}

std::vector<std::string> Utf8Arguments(const XString& line) {
  std::vector<std::string> out;
  for (const std::u16string& arg : XSplitCommandLine(line.CStr())) out.push_back(XUtf16ToUtf8(arg));
  return out;
}

}  // namespace

bool XProcessLaunch::Run() {
  processId = 0;
  exitCode = 0;
  XString line = commandLine;
  if (line.IsEmpty()) line = u"\"" + programPath + u"\" " + arguments;
  std::vector<std::string> args = Utf8Arguments(line);
  if (args.empty()) {
    XSetLastError(XErrInvalidParameter);
    return false;
  }
  std::vector<char*> argv;
  for (std::string& arg : args) argv.push_back(arg.data());
  argv.push_back(nullptr);
  std::string program = programPath.IsEmpty() ? args[0] : programPath.ToUtf8String();

  SpawnSetup setup;
  ResetSignals(setup);
  if (creationFlags & XCreateNoWindow) DetachStandardStreams(setup);
  if (!workingFolder.IsEmpty()) {
    posix_spawn_file_actions_addchdir_np(&setup.actions, workingFolder.ToUtf8String().c_str());
  }
  if (!inheritHandles) posix_spawn_file_actions_addclosefrom_np(&setup.actions, 3);

  pid_t pid = 0;
  int rc = program.find('/') == std::string::npos
               ? posix_spawnp(&pid, program.c_str(), &setup.actions, &setup.attributes, argv.data(),
                              environ)
               : posix_spawn(&pid, program.c_str(), &setup.actions, &setup.attributes, argv.data(),
                             environ);
  if (rc != 0) {
    XSetLastError(XErrorFromErrno(rc));
    return false;
  }
  processId = pid;
  if (int nice = NiceOfFlags(creationFlags); nice != 0) {
    setpriority(PRIO_PROCESS, static_cast<id_t>(pid), nice);  // refusal is ignored
  }
  if (!wait) {
    ReapLater(pid);
    return true;
  }
  if (timeout == 0) return Reap(pid, exitCode);

  int pidfd = static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
  uint32_t start = XTickCount();
  bool ended = false;
  while (!(ended = WaitExit(pid, pidfd, 250))) {
    usleep(25000);
    if (XTickCount() - start > timeout) break;
  }
  if (pidfd >= 0) close(pidfd);
  if (ended) return Reap(pid, exitCode);
  if (terminateOnTimeout) {
    kill(pid, SIGKILL);
    Reap(pid, exitCode);
  } else {
    ReapLater(pid);
  }
  XSetLastError(XErrTimeout);
  return false;
}
