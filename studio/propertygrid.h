// The object inspector: the properties of the selected components (of the
// module itself when nothing is selected), a row each with the property's
// name and an editor chosen by its property editor's attributes:
//
//   value list  a combo box of GetValues (sorted for paSortList); a closed
//               list (booleans, enumerations, paReadOnly) cannot be typed in
//   dialog      a line edit and a "..." button that calls Edit()
//   otherwise   a line edit (read-only for paReadOnly)
//
// A value is committed with Enter, by choosing it from the list, or when the
// editor loses focus. A refused value is reported and the row shows the
// property's value again.
#pragma once

#include "studio/designintf/designer.h"

#include <QPointer>
#include <QWidget>
#include <memory>
#include <vector>

class QComboBox;
class QLabel;
class QLineEdit;
class QScrollArea;
class QToolButton;
class TComponent;
class TPropertyEditor;

class TObjectInspector : public QWidget {
    Q_OBJECT
public:
    explicit TObjectInspector(QWidget* parent = nullptr);
    ~TObjectInspector() override;

    void SetDesigner(IDesigner* designer);
    IDesigner* Designer() const { return m_designer; }

    // What the inspector shows: "OstTable1: TOstTable", "2 components".
    QString Caption() const;
    QStringList PropertyNames() const;
    // The editor of a property's row (a QLineEdit or a QComboBox), nullptr
    // when no row has that name.
    QWidget* EditorWidget(const QString& propertyName) const;
    QToolButton* DialogButton(const QString& propertyName) const;
    QString PropertyText(const QString& propertyName) const;
    // The values a property's list offers, as its list shows them when opened.
    QStringList PropertyValues(const QString& propertyName);
    // Types text into the property's editor and commits it as Enter does;
    // false when there is no such row or the value was refused.
    bool SetPropertyText(const QString& propertyName, const QString& text);

public slots:
    // New rows for the current selection.
    void Rebuild();
    // The rows show the current values again.
    void RefreshValues();

private:
    struct TRow;
    TRow* FindRow(const QString& propertyName) const;
    QWidget* CreateEditor(TRow& row, QWidget* parent);
    void ShowValue(TRow& row, bool force);
    void FillValues(TRow& row);
    bool Commit(TRow& row, const QString& text);
    void OpenDialog(TRow& row);
    QString RowText(const TRow& row) const;

    QPointer<IDesigner> m_designer;
    QLabel* m_caption;
    QScrollArea* m_scroll;
    std::vector<std::unique_ptr<TRow>> m_rows;
    QList<TComponent*> m_shown;
    bool m_committing = false;
    int m_generation = 0;
};
