#pragma once

#include "core/QmSingleForm.h"

#include <QWidget>

// The splash: shown while Quillmont starts; its load refuses a second instance,
// asks the engine about the media framework, and loads the main window.
class frmSplash : public QWidget, public QmSingleForm<frmSplash>
{
    Q_OBJECT
    friend QmSingleForm<frmSplash>;

public:
    // Runs the start-up; the splash is gone when it returns.
    void Load();

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    frmSplash();
    void Unload();
};

namespace SingleInstance {

// Takes the lock that marks Quillmont as running, for the life of the process; false
// when another Quillmont holds it.
bool Acquire();

} // namespace SingleInstance
