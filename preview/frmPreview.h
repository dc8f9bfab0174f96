#pragma once

#include "core/QmSingleForm.h"
#include "shell/QmPanel.h"

class frmPreview : public QmPanel, public QmSingleForm<frmPreview>
{
    Q_OBJECT
    friend QmSingleForm<frmPreview>;

private:
    frmPreview();
};
