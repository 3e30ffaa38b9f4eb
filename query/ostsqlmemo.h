// The SQL editor's memo: a text editor component with the engine's SQL
// highlighted (keywords of its dialect, its functions and collations, the
// database's tables), matching brackets, completion of table and column
// names, keywords and functions, a mark under a statement that does not
// compile, and, while it has no focus, a marker below the caret where a
// double-clicked name will land. Positions are indexes into text().
#pragma once

#include <Qsci/qsciscintilla.h>

class QLabel;
class TSqlEditCore;
class TSqlLexer;

class TSqlMemo : public QsciScintilla {
    Q_OBJECT
public:
    static constexpr int kErrorIndicator = 8;

    explicit TSqlMemo(TSqlEditCore* core, QWidget* parent = nullptr);
    ~TSqlMemo() override;

    // Index into text() <-> the component's byte position.
    int IndexOfPosition(int position) const;
    int PositionOfIndex(int index) const;
    int CaretIndex() const;
    void SetCaretIndex(int index);
    int SelectionStartIndex() const;
    int SelectionEndIndex() const;
    void SelectIndexes(int start, int end);
    // Inserts text at an index, as one step of the memo's undo.
    void InsertAtIndex(int index, const QString& text);

    // The database's table names, highlighted as names.
    void SetTableNames(const QStringList& names);
    // Marks the word at index as where the statement fails; cleared by the next edit.
    void MarkError(int index);
    void ClearErrorMark();
    bool HasErrorMark() const;
    // The indexes the error mark covers, [start, end); (-1, -1) without one.
    QPair<int, int> ErrorMarkRange() const;

    QLabel* CaretMarker() const { return m_marker; }
    // Where the marker's tip points: just below the caret, at the caret's x minus 3 pixels.
    QPoint CaretMarkerPoint() const;

protected:
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

private:
    void PlaceCaretMarker();

    TSqlEditCore* m_core;
    TSqlLexer* m_lexer;
    QLabel* m_marker;
    int m_errorStart = -1, m_errorEnd = -1;
};
