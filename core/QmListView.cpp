#include "core/QmListView.h"

#include "core/QmColors.h"
#include "core/QmIcons.h"

#include <QDrag>
#include <QHeaderView>
#include <QKeyEvent>
#include <QListView>
#include <QMimeData>
#include <QMouseEvent>
#include <QStackedLayout>
#include <QStandardItemModel>
#include <QTreeView>

namespace {

constexpr int kIconKeyRole = Qt::UserRole + 1;
constexpr int kItemKeyRole = Qt::UserRole + 2;
constexpr int kForeColorRole = Qt::UserRole + 3;

} // namespace

// The two views start their drags through the list, which owns the drag's picture.
class QmListDragReport : public QTreeView
{
public:
    explicit QmListDragReport(QmListView* owner)
        : QTreeView(owner)
        , m_owner(owner)
    {
    }

protected:
    void startDrag(Qt::DropActions actions) override { m_owner->RunDrag(this, actions); }

private:
    QmListView* m_owner;
};

class QmListDragIcons : public QListView
{
public:
    explicit QmListDragIcons(QmListView* owner)
        : QListView(owner)
        , m_owner(owner)
    {
    }

protected:
    void startDrag(Qt::DropActions actions) override { m_owner->RunDrag(this, actions); }

private:
    QmListView* m_owner;
};

QmListView::QmListView(QWidget* parent)
    : QWidget(parent)
    , m_model(new QStandardItemModel(this))
{
    m_report = new QmListDragReport(this);
    m_report->setRootIsDecorated(false);
    m_report->setUniformRowHeights(true);
    m_report->setAllColumnsShowFocus(true);
    m_icons = new QmListDragIcons(this);
    m_icons->setResizeMode(QListView::Adjust);
    m_icons->setWordWrap(true);
    m_icons->setMovement(QListView::Static);

    m_report->setModel(m_model);
    m_icons->setModel(m_model);
    m_icons->setSelectionModel(m_report->selectionModel());
    for (QAbstractItemView* view : {static_cast<QAbstractItemView*>(m_report), static_cast<QAbstractItemView*>(m_icons)}) {
        view->setSelectionMode(QAbstractItemView::ExtendedSelection);
        view->setSelectionBehavior(QAbstractItemView::SelectRows);
        view->setEditTriggers(QAbstractItemView::NoEditTriggers);
        view->setDragEnabled(true);
        view->setDragDropMode(QAbstractItemView::DragOnly);
        view->viewport()->installEventFilter(this);
        view->viewport()->setMouseTracking(true);
        view->installEventFilter(this);
    }
    m_stack = new QStackedLayout(this);
    m_stack->setContentsMargins(0, 0, 0, 0);
    m_stack->addWidget(m_report);
    m_stack->addWidget(m_icons);
    SetView(Report);
}

void QmListView::SetColumns(const QStringList& headers)
{
    m_model->setColumnCount(static_cast<int>(headers.size()));
    m_model->setHorizontalHeaderLabels(headers);
}

void QmListView::SetColumnWidth(int column, int width)
{
    m_report->setColumnWidth(column, width);
}

void QmListView::SetView(View view)
{
    m_view = view;
    if (view == Report) {
        m_stack->setCurrentWidget(m_report);
        return;
    }
    const bool large = view == LargeIcons;
    m_icons->setViewMode(view == List ? QListView::ListMode : QListView::IconMode);
    m_icons->setFlow(view == List ? QListView::TopToBottom : QListView::LeftToRight);
    m_icons->setWrapping(true);
    m_icons->setIconSize(large ? QSize(32, 32) : QSize(16, 16));
    m_icons->setGridSize(large ? QSize(96, 64) : view == SmallIcons ? QSize(150, 22) : QSize());
    m_stack->setCurrentWidget(m_icons);
}

QAbstractItemView* QmListView::ActiveView() const
{
    return m_view == Report ? static_cast<QAbstractItemView*>(m_report) : m_icons;
}

int QmListView::Count() const
{
    return m_model->rowCount();
}

int QmListView::AddItem(int position, const QString& text, const QString& iconKey)
{
    position = std::clamp(position, 0, Count());
    QList<QStandardItem*> cells;
    auto* first = new QStandardItem(QmIcon(iconKey), text);
    first->setData(iconKey, kIconKeyRole);
    cells << first;
    for (int c = 1; c < std::max(1, m_model->columnCount()); ++c)
        cells << new QStandardItem();
    m_model->insertRow(position, cells);
    return position;
}

void QmListView::RemoveItem(int row)
{
    m_model->removeRow(row);
}

void QmListView::Clear()
{
    m_model->removeRows(0, m_model->rowCount());
}

QString QmListView::Text(int row) const
{
    return SubItem(row, 0);
}

void QmListView::SetText(int row, const QString& text)
{
    SetSubItem(row, 0, text);
}

QString QmListView::SubItem(int row, int column) const
{
    const QStandardItem* item = m_model->item(row, column);
    return item ? item->text() : QString();
}

void QmListView::SetSubItem(int row, int column, const QString& text)
{
    if (QStandardItem* item = m_model->item(row, column))
        item->setText(text);
}

QString QmListView::IconKey(int row) const
{
    const QStandardItem* item = m_model->item(row, 0);
    return item ? item->data(kIconKeyRole).toString() : QString();
}

QString QmListView::ItemKey(int row) const
{
    const QStandardItem* item = m_model->item(row, 0);
    return item ? item->data(kItemKeyRole).toString() : QString();
}

void QmListView::SetItemKey(int row, const QString& key)
{
    if (QStandardItem* item = m_model->item(row, 0))
        item->setData(key, kItemKeyRole);
}

int32_t QmListView::ForeColor(int row) const
{
    const QStandardItem* item = m_model->item(row, 0);
    if (!item)
        return QmColors::WindowText;
    const QVariant color = item->data(kForeColorRole);
    return color.isValid() ? color.toInt() : QmColors::WindowText;
}

void QmListView::SetForeColor(int row, int32_t color)
{
    for (int column = 0; column < std::max(1, m_model->columnCount()); ++column) {
        if (QStandardItem* item = m_model->item(row, column)) {
            item->setData(color, kForeColorRole);
            item->setForeground(QmColors::ToQColor(color));
        }
    }
}

bool QmListView::Selected(int row) const
{
    return m_report->selectionModel()->isRowSelected(row, QModelIndex());
}

void QmListView::SetSelected(int row, bool selected)
{
    const QModelIndex index = m_model->index(row, 0);
    if (!index.isValid())
        return;
    m_report->selectionModel()->select(index, (selected ? QItemSelectionModel::Select : QItemSelectionModel::Deselect)
                                                  | QItemSelectionModel::Rows);
}

int QmListView::SelectedRow() const
{
    const QModelIndex current = m_report->selectionModel()->currentIndex();
    if (current.isValid() && Selected(current.row()))
        return current.row();
    const QModelIndexList rows = m_report->selectionModel()->selectedRows();
    int first = -1;
    for (const QModelIndex& index : rows)
        first = first < 0 ? index.row() : std::min(first, index.row());
    return first;
}

void QmListView::SetCurrentRow(int row)
{
    m_report->selectionModel()->setCurrentIndex(m_model->index(row, 0), QItemSelectionModel::NoUpdate);
}

void QmListView::RunDrag(QAbstractItemView* view, Qt::DropActions)
{
    const QModelIndexList rows = view->selectionModel()->selectedRows();
    if (rows.isEmpty())
        return;
    QByteArray encoded;
    for (const QModelIndex& index : rows)
        encoded += QByteArray::number(index.row()) + ' ';
    auto* data = new QMimeData;
    data->setData(QString::fromLatin1(RowsMimeType), encoded.trimmed());
    auto* drag = new QDrag(view);
    drag->setMimeData(data);
    if (!m_dragPixmap.isNull()) {
        drag->setPixmap(m_dragPixmap);
        drag->setHotSpot(QPoint(m_dragPixmap.width() / 2, m_dragPixmap.height() / 2));
    }
    emit DragStarted();
    drag->exec(Qt::CopyAction, Qt::CopyAction);
    emit DragEnded();
}

bool QmListView::eventFilter(QObject* watched, QEvent* event)
{
    const bool viewport = watched == m_report->viewport() || watched == m_icons->viewport();
    if (viewport) {
        if (event->type() == QEvent::MouseMove) {
            emit MouseMoved();
        } else if (event->type() == QEvent::MouseButtonPress) {
            emit MouseDown(static_cast<QMouseEvent*>(event)->button());
        } else if (event->type() == QEvent::MouseButtonRelease) {
            // After the view has taken the press: the selection is the new one.
            QMetaObject::invokeMethod(this, &QmListView::Click, Qt::QueuedConnection);
        } else if (event->type() == QEvent::MouseButtonDblClick) {
            QMetaObject::invokeMethod(this, &QmListView::DblClick, Qt::QueuedConnection);
        }
    } else if ((watched == m_report || watched == m_icons) && event->type() == QEvent::KeyPress) {
        const int key = static_cast<QKeyEvent*>(event)->key();
        // After the view has moved the selection.
        QMetaObject::invokeMethod(this, [this, key] { emit KeyDown(key); }, Qt::QueuedConnection);
    }
    return QWidget::eventFilter(watched, event);
}
