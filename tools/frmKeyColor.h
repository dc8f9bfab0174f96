#pragma once

#include "core/QmSingleForm.h"

#include <QDialog>

#include <array>
#include <cstdint>

class QLabel;
class QLineEdit;
class QPushButton;
class QSlider;
class QmImageBox;
class QmPicture;

// The overlay's key colour: typed, set with three sliders, one of eight primary colours,
// or picked with a dropper from the first frame of the overlay's stream. OK records the
// operation "SetKeyColor" in the history and gives the colour to the overlay's key
// transition; Cancel changes nothing.
class frmKeyColor : public QDialog, public QmSingleForm<frmKeyColor>
{
    Q_OBJECT
    friend QmSingleForm<frmKeyColor>;

public:
    QmPicture* picDisplay = nullptr;
    QmImageBox* imgDisplay = nullptr;
    QmPicture* picCurrentColor = nullptr;
    QmPicture* picColorDisplay = nullptr;
    QLineEdit* txtRed = nullptr;
    QLineEdit* txtGreen = nullptr;
    QLineEdit* txtBlue = nullptr;
    QSlider* sldRed = nullptr;
    QSlider* sldGreen = nullptr;
    QSlider* sldBlue = nullptr;
    std::array<QLabel*, 8> lblPrimaryColors{};
    QPushButton* cmdOK = nullptr;
    QPushButton* cmdCancel = nullptr;

    // The colour chosen, 0 to 255 each.
    int16_t KeyColorRed = 0;
    int16_t KeyColorGreen = 0;
    int16_t KeyColorBlue = 0;
    // The overlay source and its stream.
    int16_t SequenceNumber = 0;
    int32_t StreamHandle = 0;
    // The colour under the dropper.
    int32_t PickedRed = 0;
    int32_t PickedGreen = 0;
    int32_t PickedBlue = 0;
    // The pointer button is down on imgDisplay.
    bool Picking = false;

    // Called before the dialogue is shown.
    void SetRed(int16_t value) { KeyColorRed = value; }
    void SetGreen(int16_t value) { KeyColorGreen = value; }
    void SetBlue(int16_t value) { KeyColorBlue = value; }
    void SetRGB(int16_t red, int16_t green, int16_t blue);
    void SetSequenceNumber(int16_t seq) { SequenceNumber = seq; }
    void SetStreamHandle(int32_t stream) { StreamHandle = stream; }

    // Loads the form with the values set and shows it modally; returns when it closes.
    void ShowModal();

    // Events of the controls.
    void txtColor_Change(int index);
    void sldColor_Change(int index);
    void lblPrimaryColors_Click(int index);
    void imgDisplay_MouseDown(int x, int y);
    void imgDisplay_MouseMove(int x, int y);
    void imgDisplay_MouseUp();
    void cmdOK_Click();
    void cmdCancel_Click();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    frmKeyColor();
    void Form_Load();
    // The colour of the three fields in picColorDisplay.
    void ShowChosenColor();

    std::array<QLineEdit*, 3> m_boxes{};
    std::array<QSlider*, 3> m_sliders{};
    std::array<int16_t*, 3> m_fields{};
};
