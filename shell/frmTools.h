#pragma once

#include "core/QmSingleForm.h"
#include "shell/QmPanel.h"

class frmTools : public QmPanel, public QmSingleForm<frmTools>
{
    Q_OBJECT
    friend QmSingleForm<frmTools>;

private:
    frmTools();
};
