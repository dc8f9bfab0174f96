#pragma once

#include <QString>

#include <cstdint>

// The snap settings of the capture window for the whole run, kept in the settings
// section "Capture Snap", and the numbered snap files Snap0000.bmp, Snap0001.bmp, ...
namespace moduleCaptureSnap {

// Reads the section; what is missing or unreadable keeps its value.
void LoadSnapSettings();
void StoreSnapSettings();

QString SnapFolder();
void SetSnapFolder(const QString& folder);
int16_t SnapWidth();
int16_t SnapHeight();
void SetSnapDimension(int16_t width, int16_t height);
bool SnapUseCaptureDimension();
void SetSnapUseCaptureDimension(bool use);
int16_t SnapCounter();
void SetSnapCounter(int16_t counter);

// Takes a snap of the live picture into the next free number of the snap folder and
// returns the text for the status panel.
QString TakeSnapFile();

} // namespace moduleCaptureSnap
