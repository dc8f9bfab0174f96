#include "engine/tarnwick/TarnwickMediaFiles.h"

#include "engine/tarnwick/TarnwickState.h"

using namespace Tarnwick;

TarnwickMediaFiles::TarnwickMediaFiles(TarnwickState& state)
    : m_state(state)
{
}

int32_t TarnwickMediaFiles::OpenStream(int32_t file, int16_t index)
{
    auto it = m_state.files.find(file);
    if (it == m_state.files.end() || !it->second.open || index < 0
        || static_cast<size_t>(index) >= it->second.facts.streams.size())
        return 0;
    for (const auto& [handle, record] : m_state.streams) {
        if (record.file == file && record.index == index)
            return handle;
    }
    const int32_t handle = m_state.NewHandle();
    m_state.streams.emplace(handle, TarnwickState::StreamRecord{file, index});
    return handle;
}

bool TarnwickMediaFiles::CloseStream(int32_t stream)
{
    auto it = m_state.streams.find(stream);
    if (it == m_state.streams.end())
        return false;
    const int32_t file = it->second.file;
    m_state.retiredStreams.emplace(stream,
                                   TarnwickState::RetiredStream{m_state.StreamPath(stream), *m_state.Facts(stream),
                                                                it->second.index});
    m_state.streams.erase(it);
    if (m_state.selectedStream == stream)
        m_state.selectedStream = 0;
    m_state.DropFileIfDone(file);
    return true;
}

bool TarnwickMediaFiles::SelectStream(int32_t stream)
{
    m_state.selectedStream = m_state.streams.count(stream) ? stream : 0;
    return m_state.selectedStream != 0;
}

int32_t TarnwickMediaFiles::GetStreamFile(int32_t stream)
{
    auto it = m_state.streams.find(stream);
    return it == m_state.streams.end() ? 0 : it->second.file;
}

bool TarnwickMediaFiles::IsVideoStream(int32_t stream)
{
    const StreamFacts* facts = m_state.Facts(stream);
    return facts && facts->isVideo;
}
