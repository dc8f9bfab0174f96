#pragma once

#include <QString>

class ITWSave;

// The save options kept in the settings (Tools > Options, and the last save's), as the
// Save Timeline dialogue and a render from the command line both start from them.
struct SavedOptions
{
    QString videoCompressor;
    QString audioCompressor;
    QString videoProfile;
    QString audioProfile;
    QString fps;
    QString width;
    QString height;
    int32_t pFrameFrequency = 15;
    int32_t keyFrameRate = 15;
    int32_t quality = 75;

    // Read from the settings; a value that is no number raises error 13.
    static SavedOptions Read();
    // Resets the save and gives it these options.
    void ApplyTo(ITWSave& save) const;
};
