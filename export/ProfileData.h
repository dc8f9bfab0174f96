#pragma once

#include <QString>

#include <cstdint>

// One Windows Media profile of the profile list: its name, whether it has a video
// stream, and whether it is one of the engine's system profiles (with its index there)
// or a custom one.
class ProfileData
{
public:
    QString GetName() const { return m_sName; }
    void SetName(const QString& name) { m_sName = name; }
    bool GetVideoPresent() const { return m_bVideoPresent; }
    void SetVideoPresent(bool present) { m_bVideoPresent = present; }
    bool GetSystem() const { return m_bSystem; }
    void SetSystem(bool system) { m_bSystem = system; }
    int16_t GetSystemIndex() const { return m_iSystemIndex; }
    void SetSystemIndex(int16_t index) { m_iSystemIndex = index; }

private:
    QString m_sName;
    bool m_bVideoPresent = false;
    bool m_bSystem = false;
    int16_t m_iSystemIndex = 0;
};
