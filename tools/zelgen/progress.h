// A progress bar on standard error, drawn only when it is a terminal. Step()
// may be called from several workers at once.
#pragma once

#include <atomic>
#include <mutex>
#include <string>

class Progress {
public:
    Progress(int total, const std::string& label, bool enabled);
    ~Progress();
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;

    void Step();
    // Clears the bar (also done by the destructor).
    void Finish();

    // Whether standard error is a terminal.
    static bool StderrIsTerminal();

private:
    void Draw(int done);

    const int m_total;
    const std::string m_label;
    const bool m_enabled;
    std::atomic<int> m_done{0};
    std::mutex m_drawing;
    bool m_finished = false;
};
