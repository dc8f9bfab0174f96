#include "engine/tarnwick/TarnwickProfiles.h"

#include "engine/tarnwick/TarnwickState.h"

using namespace Tarnwick;

namespace {

[[noreturn]] void Fail(const char* what)
{
    throw QmError(QmErr::Failed, QString::fromLatin1(what));
}

} // namespace

const Profile& TarnwickProfiles::Open() const
{
    if (!m_profile)
        Fail("No profile is open.");
    return *m_profile;
}

const ProfileStream& TarnwickProfiles::Stream() const
{
    const Profile& profile = Open();
    if (m_stream < 0 || static_cast<size_t>(m_stream) >= profile.streams.size())
        Fail("No stream of the profile is selected.");
    return profile.streams[static_cast<size_t>(m_stream)];
}

bool TarnwickProfiles::InitProfileManager()
{
    return true;
}

void TarnwickProfiles::ReleaseProfileManager()
{
    CloseProfile();
    CloseCustomProfileList();
}

int16_t TarnwickProfiles::GetSystemProfileCount()
{
    return static_cast<int16_t>(SystemProfiles().size());
}

bool TarnwickProfiles::OpenProfile(const QString& name)
{
    m_profile = FindProfile(name);
    m_stream = -1;
    return m_profile.has_value();
}

bool TarnwickProfiles::OpenSystemProfile(int16_t index)
{
    m_stream = -1;
    m_profile.reset();
    if (index < 0 || static_cast<size_t>(index) >= SystemProfiles().size())
        return false;
    m_profile = SystemProfiles()[static_cast<size_t>(index)];
    return true;
}

void TarnwickProfiles::CloseProfile()
{
    m_profile.reset();
    m_stream = -1;
}

bool TarnwickProfiles::GetFirstCustomProfile(int32_t size, QString& name)
{
    m_customNames = CustomProfileNames();
    m_nextCustom = 0;
    name = GetNextCustomProfile(size);
    return !name.isEmpty();
}

QString TarnwickProfiles::GetNextCustomProfile(int32_t size)
{
    if (m_nextCustom >= m_customNames.size())
        return QString();
    return CutToBuffer(m_customNames[m_nextCustom++], size);
}

void TarnwickProfiles::CloseCustomProfileList()
{
    m_customNames.clear();
    m_nextCustom = 0;
}

bool TarnwickProfiles::SelectStream(int16_t index)
{
    if (index < 0 || static_cast<size_t>(index) >= Open().streams.size())
        return false;
    m_stream = index;
    return true;
}

void TarnwickProfiles::CloseStream()
{
    m_stream = -1;
}

int16_t TarnwickProfiles::GetVideoWidth()
{
    return Stream().width;
}

int16_t TarnwickProfiles::GetVideoHeight()
{
    return Stream().height;
}

int32_t TarnwickProfiles::GetAudioSampleRate()
{
    return Stream().sampleRate;
}

int16_t TarnwickProfiles::GetAudioChannels()
{
    return Stream().channels;
}

int16_t TarnwickProfiles::GetVideoFps()
{
    return Stream().fps;
}

int32_t TarnwickProfiles::GetKeyFrameInterval()
{
    return Stream().keyFrameSeconds;
}

int32_t TarnwickProfiles::GetVideoQuality()
{
    return Stream().quality;
}

int16_t TarnwickProfiles::GetStreamCount()
{
    return static_cast<int16_t>(Open().streams.size());
}

QString TarnwickProfiles::GetProfileName(int32_t size)
{
    return CutToBuffer(Open().name, size);
}

QString TarnwickProfiles::GetProfileDescription(int32_t size)
{
    return CutToBuffer(Open().description, size);
}

int32_t TarnwickProfiles::GetStreamBitRate()
{
    return Stream().bitRate;
}

QString TarnwickProfiles::GetStreamName(int32_t size)
{
    return CutToBuffer(Stream().name, size);
}

int16_t TarnwickProfiles::GetStreamType()
{
    return Stream().video ? VideoStream : AudioStream;
}
