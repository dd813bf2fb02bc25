// GDCM gives up on some damaged files with an assertion, which aborts the
// process. Every call into GDCM runs under this guard, so that such a file
// ends with zelgen's one error line and status 2 instead of a crash.
#include <fcntl.h>
#include <setjmp.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "dicom.h"

namespace {

DicomAbort g_mode = DicomAbort::Exit;
char g_message[1024];
std::size_t g_length = 0;
int g_stderr = 2;  // where the message goes while GDCM's own output is silenced
sigjmp_buf g_return;

extern "C" void OnGdcmSignal(int)
{
    if (g_mode == DicomAbort::Return) siglongjmp(g_return, 1);
    // Only what is safe in a signal handler: one write, then exit.
    const ssize_t written = write(g_stderr, g_message, g_length);
    (void)written;
    _exit(2);
}

// The work, or false when it ended in an abort that jumped back here.
bool RunOrCatch(const std::function<bool()>& work, bool& aborted)
{
    aborted = false;
    if (sigsetjmp(g_return, 1) != 0) {
        aborted = true;
        return false;
    }
    try {
        return work();
    } catch (...) {
        aborted = true;  // GDCM's exceptions, as its assertions, mean damage
        return false;
    }
}

}  // namespace

void SetDicomAbort(DicomAbort mode)
{
    g_mode = mode;
}

bool GuardGdcm(const std::string& path, const std::function<bool()>& work, std::string& error)
{
    const std::string message = "'" + path + "': damaged DICOM data (the decoder gave up on it)";
    const std::string line = "zelgen: error: " + message + "\n";
    g_length = std::min(line.size(), sizeof(g_message));
    std::memcpy(g_message, line.data(), g_length);
    // GDCM (and a failed assertion) print on standard error: silenced, so
    // that a failure is the one line of zelgen's own.
    std::fflush(stderr);
    g_stderr = dup(2);
    // (Not for the fuzzing harnesses, whose sanitizers report there.)
    const int quiet = g_mode == DicomAbort::Exit ? open("/dev/null", O_WRONLY) : -1;
    if (quiet >= 0) dup2(quiet, 2);
    // Returning is for aborts (the fuzzing harness); a crash there is a
    // finding for the sanitizers to report.
    const int signals[] = {SIGABRT, SIGSEGV, SIGBUS, SIGFPE};
    const int count = g_mode == DicomAbort::Return ? 1 : 4;
    struct sigaction guard, previous[4];
    std::memset(&guard, 0, sizeof(guard));
    guard.sa_handler = OnGdcmSignal;
    sigemptyset(&guard.sa_mask);
    for (int s = 0; s < count; ++s) sigaction(signals[s], &guard, &previous[s]);
    bool aborted = false;
    const bool ok = RunOrCatch(work, aborted);
    for (int s = 0; s < count; ++s) sigaction(signals[s], &previous[s], nullptr);
    if (g_stderr >= 0) {
        dup2(g_stderr, 2);
        close(g_stderr);
    }
    g_stderr = 2;
    if (quiet >= 0) close(quiet);
    if (aborted) error = message;
    return ok;
}
