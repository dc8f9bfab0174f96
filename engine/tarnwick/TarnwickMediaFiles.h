#pragma once

#include "engine/ITWMediaFiles.h"

struct TarnwickState;

// The streams of the files the engine has open. A closed stream is kept among the
// retired ones, since sources on the timeline may still name it.
class TarnwickMediaFiles final : public ITWMediaFiles
{
public:
    explicit TarnwickMediaFiles(TarnwickState& state);

    int32_t OpenStream(int32_t file, int16_t index) override;
    bool CloseStream(int32_t stream) override;
    bool SelectStream(int32_t stream) override;
    int32_t GetStreamFile(int32_t stream) override;
    bool IsVideoStream(int32_t stream) override;

private:
    TarnwickState& m_state;
};
