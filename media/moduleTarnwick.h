#pragma once

#include <QString>

#include <cstdint>

// The media list's module: files and streams opened through the engine, one row of
// lvwMediaList per file, in the order of FileCollection.
namespace moduleTarnwick {

// The extension of the file being opened; rows are classed from it, not from the
// streams. GetMediaClass normalises it.
inline QString LastOpenedExtension;
// Set by OpenStreams: the next stream's facts make a new row.
inline bool FirstStreamOfFile = false;
// The row most recently made (0-based); later streams of the same file fill it in.
inline int CurrentListItem = -1;

// The dialogue's filter, in the order of its entries; entry 4 is chosen at start.
QString OpenFilter();

// The path of an open file as the engine gives it in a buffer of size, the buffer's
// fill trimmed.
QString FileNameOf(int32_t file, int32_t size = 260);

// Makes the three process-wide lists empty; true unless that failed.
bool Init();
// The whole open dialogue, and the files chosen opened one by one.
void OnFileOpenClick();
// Closes the selected rows, asking first about files the timeline uses.
void OnFileCloseClick();
void OpenStreams(int32_t file);
void CloseStreams(int32_t file);
void AppendToTWListView(int32_t file);
void RemoveFromTWListView(int32_t file);
void FillTWListView(int32_t stream);
bool IsFileHandleReferenced(int32_t file);
void RemoveFileReferences(int32_t file);
// Opens one file by path, for the recent files menu.
void OpenResentFile(const QString& path);
// Asks the engine whether the file can be rendered, and says why not.
bool CheckMediaFile(const QString& path);
// "Video", "Audio" or "Image" from LastOpenedExtension.
QString GetMediaClass();
// Closes every file and stream and empties the list, without a word.
void CloseAllMediaFiles();

} // namespace moduleTarnwick
