#pragma once

#include "core/QmSingleForm.h"

#include <QWidget>

#include <cstdint>

class QSlider;

// The volume popup under the preview's Volume button: one slider for both players, the
// timeline's and the media list's. It also keeps the stored volume.
class frmVolume : public QWidget, public QmSingleForm<frmVolume>
{
    Q_OBJECT
    friend QmSingleForm<frmVolume>;

public:
    QSlider* sldVolume = nullptr;
    // The present volume, 0 to 100.
    int16_t iVolume = 0;

    // iVolume from the stored setting.
    void LoadVolume();
    // The stored setting; a blank one is written back as 100.
    int16_t RetrieveVolume();
    // Stores level, when it lies from 0 to 100.
    void SaveVolume(int32_t level);
    int16_t GetVolume() const;
    // Both players at level (0 to 100), and iVolume with it.
    void SetVolume(int32_t level);

    // Opens the popup with its top left at a point of the screen.
    void Popup(const QPoint& topLeft);

protected:
    bool event(QEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    frmVolume();
    // Each opening: the slider takes the volume, and its change runs.
    void Form_Load();
    void sldVolume_Change();
};
