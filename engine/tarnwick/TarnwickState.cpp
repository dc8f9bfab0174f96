#include "engine/tarnwick/TarnwickState.h"

using namespace Tarnwick;

const StreamFacts* TarnwickState::Facts(int32_t stream) const
{
    auto it = streams.find(stream);
    if (it == streams.end())
        return nullptr;
    const FileRecord& file = files.at(it->second.file);
    return &file.facts.streams[static_cast<size_t>(it->second.index)];
}

const StreamFacts* TarnwickState::TimelineFacts(int32_t stream) const
{
    if (const StreamFacts* facts = Facts(stream))
        return facts;
    auto retired = retiredStreams.find(stream);
    return retired == retiredStreams.end() ? nullptr : &retired->second.facts;
}

QString TarnwickState::StreamPath(int32_t stream) const
{
    if (auto it = streams.find(stream); it != streams.end())
        return files.at(it->second.file).path;
    auto retired = retiredStreams.find(stream);
    return retired == retiredStreams.end() ? QString() : retired->second.path;
}

StreamSource TarnwickState::Source(int32_t stream) const
{
    return {StreamPath(stream), TimelineFacts(stream)};
}

int32_t TarnwickState::FirstStream(int32_t file) const
{
    for (const auto& [handle, record] : streams) {
        if (record.file == file)
            return handle;
    }
    return 0;
}

void TarnwickState::DropFileIfDone(int32_t file)
{
    auto it = files.find(file);
    if (it != files.end() && !it->second.open && FirstStream(file) == 0)
        files.erase(it);
}
