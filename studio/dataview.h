// The "Data" view: the records of the selected dataset (a table or a query)
// in a grid, as the component would show them at run time: its filter, its
// index order and its persistent fields (their order, labels and read-only
// flags). The grid browses a copy of the component, so looking at the data
// changes nothing of the module. Records are read as the grid scrolls, so a
// table of any size opens at once. An edited cell is posted through the
// engine, which checks it as any post; a refused value is explained and the
// record stays as it was. The view follows the selection while it is shown.
#pragma once

#include "engine/base/tcomponent.h"

#include <QPointer>
#include <QWidget>
#include <memory>
#include <vector>

class IDesigner;
class QLabel;
class QTableView;
class QToolButton;
class TDataSet;
class TField;
class TOstDataSetModel;

class TDataView : public QWidget {
    Q_OBJECT
public:
    explicit TDataView(QWidget* parent = nullptr);
    ~TDataView() override;

    void SetDesigner(IDesigner* designer);
    // Shows the data of a dataset component of the module; anything else shows nothing.
    void ShowComponent(TComponent* component);
    TComponent* ShownComponent() const { return m_shown; }
    // The copy the grid browses; nullptr when nothing is shown or it could not be opened.
    TDataSet* DataSet() const { return m_copy.get(); }

    QTableView* Grid() const { return m_grid; }
    TOstDataSetModel* Model() const { return m_model; }
    QLabel* StatusLabel() const { return m_status; }
    QToolButton* RefreshButton() const { return m_refresh; }

public slots:
    // Opens the component's copy again: after its properties or its fields changed, or the data did.
    void Refresh();

protected:
    void showEvent(QShowEvent* event) override;

private:
    void FollowSelection();
    void ScheduleRefresh();
    void Close();
    void UpdateStatus();
    void PostFailed(const QString& message);
    void RecordPosted(int row);

    QPointer<IDesigner> m_designer;
    QPointer<TComponent> m_shown;
    std::unique_ptr<TDataSet> m_copy;
    std::vector<std::unique_ptr<TField>> m_fields;
    QString m_error;
    bool m_refreshPending = false;

    QLabel* m_caption;
    QLabel* m_status;
    QToolButton* m_refresh;
    QTableView* m_grid;
    TOstDataSetModel* m_model;
};
