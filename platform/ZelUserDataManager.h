#pragma once

#include <map>
#include <string>

#include "ZelExport.h"

// Lets a host hang its own data on a library object, by key. The manager does
// not own the data.
class ZEL_API ZelUserDataManager {
public:
    virtual ~ZelUserDataManager() = default;

    void SetUserData(const std::string& key, void* data) { m_data[key] = data; }
    // Null when nothing is attached under the key.
    void* GetUserData(const std::string& key) const
    {
        auto it = m_data.find(key);
        return it == m_data.end() ? nullptr : it->second;
    }
    bool HasUserData(const std::string& key) const { return m_data.count(key) != 0; }
    void RemoveUserData(const std::string& key) { m_data.erase(key); }
    void ClearUserData() { m_data.clear(); }

private:
    std::map<std::string, void*> m_data;
};
