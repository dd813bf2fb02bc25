#include "ZelImageGeneratorTable.h"

#include <new>

ZelImageGeneratorTable::~ZelImageGeneratorTable()
{
    FreeTable();
}

bool ZelImageGeneratorTable::CreateTable(int min, int max)
{
    // Same range: keep the entries, so that a caller can re-create cheaply
    // every frame. A fresh table asked for 0..0 therefore stays without array.
    if (min == m_min && max == m_max) return true;
    FreeTable();
    // 64-bit so that the widest int ranges cannot overflow into a small count.
    const long long count = static_cast<long long>(max) - min + 1;
    if (count < 1) return false;
    m_min = min;
    m_max = max;
    m_table = new (std::nothrow) unsigned char[static_cast<std::size_t>(count)];
    return m_table != nullptr;
}

void ZelImageGeneratorTable::FreeTable()
{
    delete[] m_table;
    m_table = nullptr;
    m_min = 0;
    m_max = 0;
}
