#pragma once

#include "ZelExport.h"

// A byte lookup table over the closed value range [min, max]: entry k belongs
// to value min + k. The table owns its array; entries are written by its user
// (through GetTable) or by a derived class.
//
// Copies are shallow on purpose: a copy refers to the same array, and the
// target of operator= does not release its old array. Only one of the objects
// that share an array may release it.
class ZEL_API ZelImageGeneratorTable {
public:
    ZelImageGeneratorTable() = default;
    ZelImageGeneratorTable(const ZelImageGeneratorTable& source) = default;
    ZelImageGeneratorTable& operator=(const ZelImageGeneratorTable& source) = default;
    virtual ~ZelImageGeneratorTable();

    // Allocates max - min + 1 entries (not cleared). The same range as the one
    // held returns true at once and keeps the entries. False for max < min
    // (the table is then empty) or when no memory could be had.
    bool CreateTable(int min, int max);
    void FreeTable();
    unsigned char* GetTable() const { return m_table; }
    void GetTableRange(int& min, int& max) const
    {
        min = m_min;
        max = m_max;
    }

protected:
    int m_min = 0;
    int m_max = 0;
    unsigned char* m_table = nullptr;
};
