#include "studio/dataview.h"

#include "common/ostdatasetmodel.h"
#include "engine/base/tclassregistry.h"
#include "engine/base/tdataset.h"
#include "engine/ostdataset.h"
#include "engine/ostquery.h"
#include "studio/designintf/designer.h"
#include "studio/designintf/dsdesign.h"
#include "studio/studioutils.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLocale>
#include <QMetaProperty>
#include <QStyle>
#include <QTableView>
#include <QTimer>
#include <QToolButton>
#include <QVBoxLayout>

namespace {

// Properties that belong to the component in the module, not to what it shows.
bool CopiedProperty(const char* name) {
    for (const char* skip : {"objectName", "Name", "DesignInfo", "Tag", "Active", "Exclusive"})
        if (qstrcmp(name, skip) == 0) return false;
    return true;
}

void CopyProperties(const QObject* from, QObject* to) {
    const QMetaObject* meta = from->metaObject();
    for (int i = 0; i < meta->propertyCount(); ++i) {
        const QMetaProperty p = meta->property(i);
        if (!p.isReadable() || !p.isWritable() || !CopiedProperty(p.name())) continue;
        try {
            p.write(to, p.read(from));
        } catch (const Exception&) {
            // what the copy refuses it does without
        }
    }
}

QString RowsText(qint64 rows) {
    return QStringLiteral("%1 %2").arg(QLocale(QLocale::English).toString(rows), rows == 1 ? QStringLiteral("record")
                                                                                      : QStringLiteral("records"));
}

} // namespace

TDataView::TDataView(QWidget* parent) : QWidget(parent) {
    setObjectName(QStringLiteral("DataView"));
    m_caption = new QLabel(this);
    QFont bold = m_caption->font();
    bold.setBold(true);
    m_caption->setFont(bold);
    m_status = new QLabel(this);
    m_status->setObjectName(QStringLiteral("status"));
    m_status->setTextInteractionFlags(Qt::TextSelectableByMouse);
    m_refresh = new QToolButton(this);
    m_refresh->setIcon(QIcon::fromTheme(QStringLiteral("view-refresh"), style()->standardIcon(QStyle::SP_BrowserReload)));
    m_refresh->setToolTip(QStringLiteral("Read the records again"));
    m_refresh->setAutoRaise(true);
    connect(m_refresh, &QToolButton::clicked, this, &TDataView::Refresh);
    m_model = new TOstDataSetModel(this);
    m_grid = new QTableView(this);
    m_grid->setObjectName(QStringLiteral("DataGrid"));
    m_grid->setModel(m_model);
    m_grid->setAlternatingRowColors(true);
    m_grid->setSelectionBehavior(QAbstractItemView::SelectItems);
    m_grid->setEditTriggers(QAbstractItemView::DoubleClicked | QAbstractItemView::EditKeyPressed |
                            QAbstractItemView::AnyKeyPressed);
    m_grid->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    m_grid->verticalHeader()->setDefaultSectionSize(m_grid->fontMetrics().height() + 6);
    m_grid->horizontalHeader()->setResizeContentsPrecision(100);
    // A refused value is explained once the editor has closed.
    connect(m_model, &TOstDataSetModel::postFailed, this, &TDataView::PostFailed, Qt::QueuedConnection);
    connect(m_model, &TOstDataSetModel::recordPosted, this, &TDataView::RecordPosted, Qt::QueuedConnection);
    connect(m_model, &TOstDataSetModel::rowsKnownChanged, this, &TDataView::UpdateStatus);

    auto* top = new QHBoxLayout;
    top->setContentsMargins(4, 2, 4, 0);
    top->addWidget(m_caption);
    top->addWidget(m_status, 1);
    top->addWidget(m_refresh);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(2);
    layout->addLayout(top);
    layout->addWidget(m_grid, 1);
    m_status->setText(QStringLiteral("Select a table or a query to see its records."));
}

TDataView::~TDataView() { Close(); }

void TDataView::SetDesigner(IDesigner* designer) {
    if (m_designer == designer) return;
    if (m_designer) disconnect(m_designer, nullptr, this, nullptr);
    m_designer = designer;
    Close();
    m_shown = nullptr;
    if (!m_designer) return UpdateStatus();
    connect(m_designer, &IDesigner::selectionChanged, this, &TDataView::FollowSelection);
    connect(m_designer, &IDesigner::propertyChanged, this, [this](TComponent* c, const QString& property) {
        // What the view shows follows the component's properties; its name only changes the caption.
        if (c && c == m_shown) {
            // Its name is the caption; its place, tag and own state change nothing shown.
            if (property == QLatin1String("Name")) UpdateStatus();
            else if (CopiedProperty(property.toLatin1().constData())) ScheduleRefresh();
        } else if (auto* f = qobject_cast<TField*>(c); f && m_shown && f->DataSet() == m_shown) {
            ScheduleRefresh();
        }
    });
    auto fieldsChanged = [this](TComponent* c) {
        if (auto* f = qobject_cast<TField*>(c); f && m_shown && f->DataSet() == m_shown) ScheduleRefresh();
    };
    connect(m_designer, &IDesigner::componentAdded, this, fieldsChanged);
    connect(m_designer, &IDesigner::componentRemoved, this, [this, fieldsChanged](TComponent* c) {
        if (c == m_shown) {
            Close();
            m_shown = nullptr;
            UpdateStatus();
            return;
        }
        fieldsChanged(c);
    });
    FollowSelection();
}

void TDataView::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    FollowSelection();
}

void TDataView::FollowSelection() {
    if (!isVisible() || !m_designer) return;
    const QList<TComponent*> selection = m_designer->Selection();
    // The data stays while the selection is no other dataset (the module, a field, several components).
    if (selection.size() != 1) return;
    ShowComponent(selection.first());
}

void TDataView::ShowComponent(TComponent* component) {
    auto* ds = qobject_cast<TDataSet*>(component);
    if (!ds) {
        if (qobject_cast<TField*>(component)) return; // a field of the shown dataset keeps it shown
        Close();
        m_shown = nullptr;
        return UpdateStatus();
    }
    if (ds == m_shown && m_copy) return;
    m_shown = ds;
    Refresh();
}

void TDataView::ScheduleRefresh() {
    if (m_refreshPending) return;
    m_refreshPending = true;
    // Once the change is complete (an undo group, a fields editor's batch).
    QTimer::singleShot(0, this, [this] {
        m_refreshPending = false;
        if (m_shown) Refresh();
    });
}

void TDataView::Close() {
    m_model->SetDataSet(nullptr);
    m_copy.reset();
    m_fields.clear();
    m_error.clear();
}

void TDataView::Refresh() {
    const int row = m_grid->currentIndex().row(), column = m_grid->currentIndex().column();
    Close();
    auto* ds = qobject_cast<TDataSet*>(m_shown.data());
    if (!ds) return UpdateStatus();
    try {
        RegisterStandardClasses();
        auto* copy = qobject_cast<TDataSet*>(CreateComponentOfClass(QString::fromLatin1(ds->metaObject()->className()), nullptr));
        if (!copy) throw EComponentError(QStringLiteral("%1 cannot be shown").arg(ds->GetName()));
        m_copy.reset(copy);
        CopyProperties(ds, copy);
        if (auto* ods = qobject_cast<TOstDataSet*>(ds)) {
            // The copy finds the very database the component uses.
            TOstDatabase* db = ods->GetDatabase();
            if (db && FindOstDatabase(db->GetDatabaseName()) != db && !db->GetLocation().isEmpty())
                qobject_cast<TOstDataSet*>(copy)->SetDatabaseName(db->ResolvedLocation());
        }
        for (TField* f : PersistentFields(ds)) {
            auto* field = qobject_cast<TField*>(CreateComponentOfClass(QString::fromLatin1(f->metaObject()->className()), nullptr));
            if (!field) continue;
            m_fields.emplace_back(field);
            CopyProperties(f, field);
            field->SetDataType(f->DataType());
            field->SetDataSet(copy);
        }
        copy->Open();
    } catch (const Exception& e) {
        m_error = e.Message();
        m_model->SetDataSet(nullptr);
        m_copy.reset();
        m_fields.clear();
        return UpdateStatus();
    } catch (const std::exception& e) {
        m_error = QString::fromLocal8Bit(e.what());
        m_copy.reset();
        m_fields.clear();
        return UpdateStatus();
    }
    m_model->SetDataSet(m_copy.get());
    m_grid->resizeColumnsToContents();
    for (int c = 0; c < m_model->columnCount(); ++c)
        if (m_grid->columnWidth(c) > 320) m_grid->setColumnWidth(c, 320);
    if (row >= 0 && row < m_model->rowCount()) m_grid->setCurrentIndex(m_model->index(row, qMax(0, column)));
    UpdateStatus();
    // A result whose size is not known yet is counted once its first rows show.
    if (!m_copy->AllRecordsFetched())
        QTimer::singleShot(0, this, [this, counted = m_copy.get()] {
            if (m_copy.get() != counted) return;
            RunReported(this, [&] { m_model->FetchAll(); });
        });
}

void TDataView::UpdateStatus() {
    m_caption->setText(m_shown ? m_shown->GetName() : QString());
    m_status->setStyleSheet(m_error.isEmpty() ? QString() : QStringLiteral("color: #b00000"));
    if (!m_error.isEmpty()) return m_status->setText(m_error);
    if (!m_shown) return m_status->setText(QStringLiteral("Select a table or a query to see its records."));
    if (!m_copy) return m_status->clear();
    QString text = m_copy->AllRecordsFetched() ? RowsText(m_copy->FetchedRecordCount())
                                               : RowsText(m_copy->FetchedRecordCount()) + QStringLiteral(" so far");
    if (m_copy->GetFiltered() && !m_copy->GetFilter().trimmed().isEmpty()) text += QStringLiteral(" (filtered)");
    if (!m_copy->CanModify()) text += QStringLiteral(", read-only");
    m_status->setText(text);
}

void TDataView::PostFailed(const QString& message) { ShowStudioError(this, message); }

void TDataView::RecordPosted(int row) {
    // The designed component, when it is open, reads the change too.
    if (auto* ds = qobject_cast<TDataSet*>(m_shown.data()); ds && ds->Active())
        RunReported(this, [&] { ds->Refresh(); });
    if (row >= 0 && row < m_model->rowCount()) {
        const int column = qMax(0, m_grid->currentIndex().column());
        m_grid->setCurrentIndex(m_model->index(row, column));
        m_grid->scrollTo(m_model->index(row, column));
    }
    UpdateStatus();
}
