#include "progress.h"

#include <unistd.h>

#include <cstdio>

Progress::Progress(int total, const std::string& label, bool enabled)
    : m_total(total), m_label(label), m_enabled(enabled && total > 1)
{
    if (m_enabled) Draw(0);
}

Progress::~Progress()
{
    Finish();
}

bool Progress::StderrIsTerminal()
{
    return isatty(2) == 1;
}

void Progress::Step()
{
    const int done = ++m_done;
    if (!m_enabled) return;
    // A worker that finds the bar being drawn skips it: the next step redraws.
    std::unique_lock<std::mutex> lock(m_drawing, std::try_to_lock);
    if (lock.owns_lock() || done == m_total) {
        if (!lock.owns_lock()) lock.lock();
        Draw(m_done.load());
    }
}

void Progress::Draw(int done)
{
    const int width = 30;
    const int filled = m_total > 0 ? done * width / m_total : width;
    char bar[width + 1];
    for (int i = 0; i < width; ++i) bar[i] = i < filled ? '#' : '.';
    bar[width] = '\0';
    std::fprintf(stderr, "\r%s [%s] %d/%d", m_label.c_str(), bar, done, m_total);
    std::fflush(stderr);
}

void Progress::Finish()
{
    std::lock_guard<std::mutex> lock(m_drawing);
    if (!m_enabled || m_finished) return;
    m_finished = true;
    std::fprintf(stderr, "\r%*s\r", static_cast<int>(m_label.size()) + 45, "");
    std::fflush(stderr);
}
