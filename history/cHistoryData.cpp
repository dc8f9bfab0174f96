#include "history/cHistoryData.h"

#include "history/ModuleHistory.h"

using namespace ModuleHistory;

void cHistoryData::SetEditOperationData()
{
    m_editOperationData = SourceImages.mid(0, m_sourceCount);
}

void cHistoryData::SetFileOperationData()
{
    m_fileOperationData = FileImage;
}

void cHistoryData::SetEffectOperationData()
{
    m_effectOperationData = EffectImages.mid(0, m_effectCount);
}

void cHistoryData::SetTransitionOperationData()
{
    m_transitionOperationData = TransitionImages.mid(0, m_transitionCount);
    m_overlaySourceData = OverlaySourceImages.mid(0, m_transitionCount);
}

void cHistoryData::GetEditOperationData() const
{
    SourceImages = m_editOperationData;
}

void cHistoryData::GetEffectOperationData() const
{
    EffectImages = m_effectOperationData;
}

void cHistoryData::GetTransitionOperationData() const
{
    TransitionImages = m_transitionOperationData;
    OverlaySourceImages = m_overlaySourceData;
}

void cHistoryData::GetFileOperationData() const
{
    FileImage = m_fileOperationData;
}
