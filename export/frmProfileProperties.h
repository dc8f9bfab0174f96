#pragma once

#include "core/QmSingleForm.h"

#include <QDialog>

#include <cstdint>
#include <memory>

namespace Ui {
class frmProfileProperties;
}

// One Windows Media profile's details: its name, description and streams (tab GENERAL),
// its video streams with their rates (VIDEO, left out for a profile without video) and
// its sound format (AUDIO).
class frmProfileProperties : public QDialog, public QmSingleForm<frmProfileProperties>
{
    Q_OBJECT
    friend QmSingleForm<frmProfileProperties>;

public:
    ~frmProfileProperties() override;

    // Before the window shows: a system profile by its index (name empty), or a custom
    // one by name.
    void SetProfileDetails(int16_t iSystemIndex, const QString& sName, bool bSystemProfileSet);
    void Form_Load();
    // Shows the properties of the profile of that name, a system one or the user's,
    // modally.
    static void ShowFor(const QString& name);

private:
    explicit frmProfileProperties(QWidget* parent = nullptr);

    void SetGeneralProperties();
    void SetVideoAudioProperties();

    std::unique_ptr<Ui::frmProfileProperties> ui;
    int16_t m_systemIndex = 0;
    QString m_name;
    bool m_system = false;
};
