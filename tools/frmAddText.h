#pragma once

#include "core/QmSingleForm.h"

#include <QMainWindow>

#include <cstdint>

class QAction;
class QComboBox;
class QFrame;
class QLabel;
class QMenu;
class QPlainTextEdit;
class QScrollBar;
class QToolBar;
class QmImageBox;
class QmPicture;

// Add Text: a small editor that writes text over a picture of the movie's size, with the
// frame under the timeline's slider as a backdrop, and saves the text alone on a flat
// background as a bitmap. The bitmap can go straight onto the overlay track, keyed on a
// colour chosen to suit the text and background colours.
//
// picWorkspace is what the user sees; picWorkspaceBack, its hidden twin, is where the
// saved picture is drawn. Letters that meet the key colour there are drawn without
// anti-aliasing: a blended edge pixel would be neither key nor text, and would stand
// around the letters as a fringe once the overlay is keyed.
class frmAddText : public QMainWindow, public QmSingleForm<frmAddText>
{
    Q_OBJECT
    friend QmSingleForm<frmAddText>;

public:
    QmPicture* picWorkspace = nullptr;
    QmPicture* picWorkspaceBack = nullptr;
    QmImageBox* imgDrag = nullptr;
    QPlainTextEdit* txtText = nullptr;
    QmPicture* picColorDisplay = nullptr;
    QmPicture* picBackColorDisplay = nullptr;
    QComboBox* cboFonts = nullptr;
    QComboBox* cboSize = nullptr;
    QFrame* fmeWorkspace = nullptr;
    QScrollBar* hsbr = nullptr;
    QScrollBar* vsbr = nullptr;
    QToolBar* tbr = nullptr;

    // Where the pointer grabbed imgDrag, and the text's place in the workspace (pixels).
    int32_t DragOffsetX = 0;
    int32_t DragOffsetY = 0;
    int32_t TextLeft = 0;
    int32_t TextTop = 0;
    // The last named position: 0 top left, 1 top right, 2 bottom left, 3 bottom right,
    // 4 centre left, 5 centre right.
    int16_t TextPosition = 0;
    // The bitmap's path; empty until first saved.
    QString TextFile;
    // The key colour of the saved bitmap.
    int16_t KeyRed = 0;
    int16_t KeyGreen = 0;
    int16_t KeyBlue = 0;

    // Tools > Add Text and its tool button.
    static void RegisterCommands();
    // Loads the form afresh and shows it, modal over the program; closing only hides it.
    static void ShowForm();

    // A menu entry or tool button by name ("mnuFileSave", "BOLD", "POSITION_TOP_RIGHT").
    QAction* Item(const QString& name) const;
    // A status bar panel: "STATUS", "IMAGE_DIMENSION", "TEXT_POSITION".
    QLabel* Panel(const QString& key) const;
    // The text as Quillmont keeps it, its lines joined by CR LF.
    QString Text() const;

    void Form_Load();
    void mnuFileNew_Click();
    // Saves to TextFile, or asks where first; true when the file was written.
    bool OnFileSaveClick();
    void mnuFileSaveas_Click();
    void OnFormatText();
    // Redraws the text after any change, and fits the drag handle and edit box to it.
    void OnTextChange();
    // The six named positions (TextPosition's numbers), and centring.
    void PlaceText(int16_t position);
    void CenterHorizontally();
    void CenterVertically();
    void SaveBitmapToFile(const QString& file);
    void AddBitmapToMediaList(const QString& file);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    frmAddText();
    void SetToolBarIcons();
    void FillFonts();
    void Connect();
    // Ends typing when the edit box is open: hides it and draws the text.
    void LeaveTextBox();
    // The save dialogue, starting at name; the file chosen is written and becomes
    // TextFile. Cancel raises 32755.
    void SaveAsAsked(const QString& name);
    // The font's styles on the menu, the toolbar and the font at once.
    void SetStyle(const QString& menuName, bool on);
    void ToggleStyle(const QString& menuName);
    void SetTransparent(bool on);
    void ApplyFontName(const QString& name);
    void ApplyFontSize(const QString& size);
    void ChooseFont();
    void ChooseFontColor();
    void ChooseBackColor();
    void MoveTextTo(int32_t left, int32_t top);
    void NudgeText(int key, Qt::KeyboardModifiers shift);
    void imgDrag_MouseUp(int x, int y);
    void ShowTextPosition();
    void LayOutWorkspace();

    QMenu* m_positionMenu = nullptr;
    QSize m_designSize;
    bool m_dragging = false;
};
