#pragma once

#include <mutex>

#include "ZelExport.h"

// A recursive lock, as the one it stands in for: the owning thread may enter
// again.
class ZEL_API ZelCriticalSection {
public:
    void Enter() { m_mutex.lock(); }
    bool TryEnter() { return m_mutex.try_lock(); }
    void Leave() { m_mutex.unlock(); }

private:
    std::recursive_mutex m_mutex;
};

// Holds a ZelCriticalSection for the lifetime of the locker.
class ZelCriticalSectionLocker {
public:
    explicit ZelCriticalSectionLocker(ZelCriticalSection& section) : m_section(section) { m_section.Enter(); }
    ~ZelCriticalSectionLocker() { m_section.Leave(); }
    ZelCriticalSectionLocker(const ZelCriticalSectionLocker&) = delete;
    ZelCriticalSectionLocker& operator=(const ZelCriticalSectionLocker&) = delete;

private:
    ZelCriticalSection& m_section;
};
