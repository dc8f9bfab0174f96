#pragma once

#include <QStringList>
#include <QWidget>

#include <cstdint>
#include <functional>

class QAbstractItemView;
class QItemSelectionModel;
class QListView;
class QStackedLayout;
class QStandardItemModel;
class QTreeView;

// A list view: rows of a text with sub-items in columns, shown as large icons, small
// icons, a list, or a report with column headers. Rows are counted from 0 here; the
// program's 1-based indexes convert at the call. Several rows can be selected.
class QmListView : public QWidget
{
    Q_OBJECT

public:
    enum View { LargeIcons = 0, SmallIcons = 1, List = 2, Report = 3 };

    // The MIME type of dragged rows: their numbers, separated by blanks.
    static constexpr const char* RowsMimeType = "application/x-quillmont-rows";

    explicit QmListView(QWidget* parent = nullptr);

    void SetColumns(const QStringList& headers);
    void SetColumnWidth(int column, int width);
    void SetView(View view);
    View CurrentView() const { return m_view; }

    int Count() const;
    // Adds a row at position (0 to Count) with its text and icon key; returns it.
    int AddItem(int position, const QString& text, const QString& iconKey);
    void RemoveItem(int row);
    void Clear();
    QString Text(int row) const;
    void SetText(int row, const QString& text);
    QString SubItem(int row, int column) const;
    void SetSubItem(int row, int column, const QString& text);
    QString IconKey(int row) const;
    // A row's key, as the program names items by it.
    QString ItemKey(int row) const;
    // A row's text colour, 0x00BBGGRR or a system colour; the system's window text at first.
    int32_t ForeColor(int row) const;
    void SetForeColor(int row, int32_t color);
    void SetItemKey(int row, const QString& key);

    bool Selected(int row) const;
    void SetSelected(int row, bool selected);
    // The selected row with the focus, else the first selected one; -1 for none.
    int SelectedRow() const;
    void SetCurrentRow(int row);

    // The picture of the pointer while a row is dragged.
    void SetDragPixmap(const QPixmap& pixmap) { m_dragPixmap = pixmap; }
    QAbstractItemView* ActiveView() const;

signals:
    void MouseDown(Qt::MouseButton button);
    void MouseMoved();
    void Click();
    void DblClick();
    void KeyDown(int key);
    void DragStarted();
    void DragEnded();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    friend class QmListDragReport;
    friend class QmListDragIcons;
    void RunDrag(QAbstractItemView* view, Qt::DropActions actions);

    QStandardItemModel* m_model = nullptr;
    QTreeView* m_report = nullptr;
    QListView* m_icons = nullptr;
    QStackedLayout* m_stack = nullptr;
    View m_view = Report;
    QPixmap m_dragPixmap;
};
