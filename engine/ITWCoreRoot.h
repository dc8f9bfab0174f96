#pragma once

#include "engine/ITWObject.h"

// The root of the engine: media files by handle, and what the program asks of
// the machine. Handles are non-zero i32; 0 is never valid.
class ITWCoreRoot : public ITWObject
{
public:
    // Opens a media file; 0 when it cannot. The program asks GetFileError first.
    virtual int32_t OpenFile(const QString& path) = 0;
    // Closes a file. Its streams may still be open: they stay listed by
    // GetFirstStream until each is closed with ITWMediaFiles::CloseStream.
    virtual bool CloseFile(int32_t file) = 0;
    // The full path as it was opened, cut to size characters.
    virtual bool GetFileName(int32_t file, int32_t size, QString& name) = 0;
    // The first stream handle still open on the file; 0 when none is left.
    virtual int32_t GetFirstStream(int32_t file) = 0;
    virtual bool FileExists(const QString& path) = 0;
    // Removes a file the program made; true when it is gone (or was never there).
    virtual bool DeleteFile(const QString& path) = 0;
    // Drops a still that the engine holds for the take-snap dialogue.
    virtual bool ReleaseStillSource(int32_t handle) = 0;
    // The default working folder when the settings store has none.
    virtual QString GetWorkingFolder(int32_t size) = 0;
    // Version numbers of a component, as four parts; zeros when it is unknown.
    virtual void GetFileVersionInfo(const QString& fileName, int32_t& major, int32_t& minor,
                                    int32_t& build, int32_t& revision) = 0;
    // Memory figures: load in per cent, total and free physical memory in MB,
    // free swap in MB.
    virtual void GetMemoryStatus(int32_t& load, int32_t& totalPhysical, int32_t& freePhysical,
                                 int32_t& freeSwap) = 0;
    // The system's language text (as "en_US"), cut to size characters.
    virtual QString GetSystemVersion(int32_t size) = 0;
    // False when the media system is missing what the engine needs to play and save.
    virtual bool CheckDirectShowVersion() = 0;
    // Tries whether the media file at path can be rendered; a result code of the
    // media list's table (0 for a good file). The code follows the fault, never the
    // file's extension:
    // - 0x80070057 for an empty path, 0x80040216 for no such file (both let pass);
    // - 0x80040241 (source filter): the system refuses to read it; decided from the file
    //   itself: not a plain file, or this user cannot open it or read its first bytes;
    // - 0x80040240 (not recognized): no media type is recognised in its content (zero
    //   bytes, text, noise, too little left to tell);
    // - 0x8004022F (invalid): a recognised type whose header or data is broken, whatever
    //   error the decoding library gives, or whose length is past 24 days;
    // - 0x80040265 (not supported): no decoder for its streams (MIDI among them);
    // - 0x00040257, 0x00040258, 0x00040242: its video, its audio, or some of its
    //   streams do not decode while the rest do.
    virtual int32_t GetFileError(const QString& path) = 0;
};
