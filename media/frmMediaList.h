#pragma once

#include "core/QmSingleForm.h"
#include "shell/QmPanel.h"

class frmMediaList : public QmPanel, public QmSingleForm<frmMediaList>
{
    Q_OBJECT
    friend QmSingleForm<frmMediaList>;

private:
    frmMediaList();
};
