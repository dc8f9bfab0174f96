#include "engine/tarnwick/TarnwickStreamInfo.h"

#include "engine/tarnwick/TarnwickState.h"

using namespace Tarnwick;

TarnwickStreamInfo::TarnwickStreamInfo(TarnwickState& state)
    : m_state(state)
{
}

const StreamFacts* TarnwickStreamInfo::SelectedFacts() const
{
    return m_state.Facts(m_state.selectedStream);
}

bool TarnwickStreamInfo::IsVideo()
{
    const StreamFacts* facts = SelectedFacts();
    return facts && facts->isVideo;
}

bool TarnwickStreamInfo::IsAudio()
{
    const StreamFacts* facts = SelectedFacts();
    return facts && facts->isAudio;
}

void TarnwickStreamInfo::GetVideoSize(int32_t& height, int32_t& width)
{
    const StreamFacts* facts = SelectedFacts();
    height = facts ? facts->height : 0;
    width = facts ? facts->width : 0;
}

int32_t TarnwickStreamInfo::GetAudioSampleRate()
{
    const StreamFacts* facts = SelectedFacts();
    return facts ? facts->sampleRate : 0;
}

double TarnwickStreamInfo::GetDuration()
{
    const StreamFacts* facts = SelectedFacts();
    return facts ? facts->duration : 0.0;
}

double TarnwickStreamInfo::GetFrameRate()
{
    const StreamFacts* facts = SelectedFacts();
    return facts ? facts->frameRate : 0.0;
}

void TarnwickStreamInfo::OpenFileInfo(const QString& path, int32_t /*flags*/)
{
    // A file the engine has open was read already; others are read now.
    for (const auto& [handle, record] : m_state.files) {
        if (record.path == path) {
            m_state.fileInfo = record.facts;
            return;
        }
    }
    m_state.fileInfo = ProbeMedia(path);
}

int32_t TarnwickStreamInfo::GetStreamCount()
{
    return static_cast<int32_t>(m_state.fileInfo.streams.size());
}
