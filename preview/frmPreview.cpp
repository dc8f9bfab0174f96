#include "preview/frmPreview.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QSlider>
#include <QVBoxLayout>

frmPreview::frmPreview()
{
    setObjectName(QStringLiteral("frmPreview"));
    setWindowTitle(QStringLiteral("Preview"));

    picDisplay = new QWidget(this);
    picDisplay->setObjectName(QStringLiteral("picDisplay"));
    picDisplay->setAutoFillBackground(true);
    QPalette black = picDisplay->palette();
    black.setColor(QPalette::Window, Qt::black);
    picDisplay->setPalette(black);
    picDisplay->setMinimumSize(160, 120);
    picDisplay->setWhatsThis(QStringLiteral("The preview of the timeline as it stands."));

    sldSeekBar = new QSlider(Qt::Horizontal, this);
    sldSeekBar->setObjectName(QStringLiteral("sldSeekBar"));
    sldSeekBar->setRange(0, 10);
    sldSeekBar->setWhatsThis(QStringLiteral("The position in the timeline; it follows the timeline's slider."));
    lblCurrentTime = new QLabel(QStringLiteral("0:00:00.000"), this);
    lblCurrentTime->setObjectName(QStringLiteral("lblCurrentTime"));
    lblDuration = new QLabel(QStringLiteral("0:00:00.000"), this);
    lblDuration->setObjectName(QStringLiteral("lblDuration"));

    auto* times = new QHBoxLayout;
    times->addWidget(lblCurrentTime);
    times->addStretch(1);
    times->addWidget(lblDuration);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(4, 4, 4, 4);
    layout->addWidget(picDisplay, 1);
    layout->addWidget(sldSeekBar);
    layout->addLayout(times);
}
