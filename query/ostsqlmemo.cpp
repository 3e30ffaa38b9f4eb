#include "query/ostsqlmemo.h"

#include "query/core/ostsqleditcore.h"

#include <Qsci/qsciabstractapis.h>
#include <Qsci/qscilexersql.h>

#include <QFocusEvent>
#include <QKeyEvent>
#include <QFontDatabase>
#include <QLabel>
#include <QPainter>
#include <QPainterPath>
#include <QScrollBar>

// The engine's dialect: SQLite's keywords, the engine's functions and
// collation, and the database's tables, each a set of words the lexer colours.
class TSqlLexer : public QsciLexerSQL {
public:
    explicit TSqlLexer(QObject* parent) : QsciLexerSQL(parent) {
        m_keywords = TSqlEditCore::Keywords().join(u' ').toLatin1();
        m_functions = (TSqlEditCore::Functions().join(u' ') + QStringLiteral(" ostra")).toLower().toUtf8();
    }
    const char* keywords(int set) const override {
        switch (set) {
        case 1: return m_keywords.constData();
        case 5: return m_functions.constData();
        case 6: return m_tables.constData();
        default: return nullptr;
        }
    }
    QStringList autoCompletionWordSeparators() const override { return {QStringLiteral(".")}; }
    QString description(int style) const override {
        if (style == KeywordSet5) return QStringLiteral("Functions and collations");
        if (style == KeywordSet6) return QStringLiteral("Tables");
        return QsciLexerSQL::description(style);
    }
    void SetTables(const QStringList& names) {
        QStringList plain;
        for (const QString& n : names)
            if (!n.contains(u' ')) plain.append(n.toLower());
        m_tables = plain.join(u' ').toUtf8();
    }

private:
    QByteArray m_keywords, m_functions, m_tables;
};

namespace {

// What the memo completes: TSqlEditCore decides from the words before the caret.
class TSqlApis : public QsciAbstractAPIs {
public:
    TSqlApis(QsciLexer* lexer, TSqlEditCore* core, TSqlMemo* memo) : QsciAbstractAPIs(lexer), m_core(core), m_memo(memo) {}
    void updateAutoCompletionList(const QStringList& context, QStringList& list) override {
        list = m_core->Completions(context, m_memo->text(), m_memo->CaretIndex());
    }
    QStringList callTips(const QStringList&, int, QsciScintilla::CallTipsStyle, QList<int>&) override { return {}; }

private:
    TSqlEditCore* m_core;
    TSqlMemo* m_memo;
};

QPixmap CaretMarkerImage(const QColor& color) {
    QPixmap image(7, 5);
    image.fill(Qt::transparent);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    QPainterPath arrow;
    arrow.moveTo(3.5, 0);
    arrow.lineTo(7, 5);
    arrow.lineTo(0, 5);
    arrow.closeSubpath();
    p.fillPath(arrow, color);
    return image;
}

} // namespace

TSqlMemo::TSqlMemo(TSqlEditCore* core, QWidget* parent) : QsciScintilla(parent), m_core(core) {
    setUtf8(true);
    m_lexer = new TSqlLexer(this);
    const QFont fixed = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    m_lexer->setDefaultFont(fixed);
    m_lexer->setFont(fixed);
    m_lexer->setColor(QColor(0x00, 0x00, 0xA0), QsciLexerSQL::Keyword);
    m_lexer->setColor(QColor(0x80, 0x00, 0x80), QsciLexerSQL::KeywordSet5);
    m_lexer->setColor(QColor(0x00, 0x60, 0x60), QsciLexerSQL::KeywordSet6);
    new TSqlApis(m_lexer, core, this); // owned by the lexer
    setLexer(m_lexer);
    setBraceMatching(QsciScintilla::SloppyBraceMatch);
    setAutoCompletionSource(QsciScintilla::AcsAPIs);
    setAutoCompletionThreshold(2);
    setAutoCompletionCaseSensitivity(false);
    setAutoCompletionReplaceWord(true);
    setAutoCompletionUseSingle(QsciScintilla::AcusNever);
    setCallTipsStyle(QsciScintilla::CallTipsNone);
    // Tab characters stay in the text.
    setIndentationsUseTabs(true);
    setTabIndents(false);
    setAutoIndent(true);
    setMarginWidth(0, 0);
    setMarginWidth(1, 0);
    setWrapMode(QsciScintilla::WrapNone);
    // The horizontal scroll bar follows the longest line instead of a fixed width.
    SendScintilla(SCI_SETSCROLLWIDTH, 1UL);
    SendScintilla(SCI_SETSCROLLWIDTHTRACKING, 1UL);
    indicatorDefine(QsciScintilla::SquiggleIndicator, kErrorIndicator);
    setIndicatorForegroundColor(QColor(0xD0, 0x00, 0x00), kErrorIndicator);
    connect(this, &QsciScintilla::textChanged, this, &TSqlMemo::ClearErrorMark);

    m_marker = new QLabel(viewport());
    m_marker->setObjectName(QStringLiteral("caretMarker"));
    m_marker->setPixmap(CaretMarkerImage(palette().color(QPalette::Highlight)));
    m_marker->setAttribute(Qt::WA_TransparentForMouseEvents);
    m_marker->resize(7, 5);
    m_marker->hide();
    connect(verticalScrollBar(), &QScrollBar::valueChanged, this, [this] { if (m_marker->isVisible()) PlaceCaretMarker(); });
    connect(horizontalScrollBar(), &QScrollBar::valueChanged, this, [this] { if (m_marker->isVisible()) PlaceCaretMarker(); });
}

TSqlMemo::~TSqlMemo() = default;

int TSqlMemo::IndexOfPosition(int position) const {
    if (position <= 0) return 0;
    QByteArray utf8 = bytes(0, position);
    utf8.truncate(position); // without the terminating zero the component adds
    return static_cast<int>(QString::fromUtf8(utf8).size());
}

int TSqlMemo::PositionOfIndex(int index) const {
    if (index <= 0) return 0;
    return static_cast<int>(text().left(index).toUtf8().size());
}

int TSqlMemo::CaretIndex() const { return IndexOfPosition(static_cast<int>(SendScintilla(SCI_GETCURRENTPOS))); }

void TSqlMemo::SetCaretIndex(int index) {
    SendScintilla(SCI_GOTOPOS, static_cast<unsigned long>(PositionOfIndex(index)));
}

int TSqlMemo::SelectionStartIndex() const { return IndexOfPosition(static_cast<int>(SendScintilla(SCI_GETSELECTIONSTART))); }

int TSqlMemo::SelectionEndIndex() const { return IndexOfPosition(static_cast<int>(SendScintilla(SCI_GETSELECTIONEND))); }

void TSqlMemo::SelectIndexes(int start, int end) {
    SendScintilla(SCI_SETSEL, static_cast<unsigned long>(PositionOfIndex(start)), static_cast<long>(PositionOfIndex(end)));
}

void TSqlMemo::InsertAtIndex(int index, const QString& text) {
    const QByteArray utf8 = text.toUtf8();
    SendScintilla(SCI_INSERTTEXT, static_cast<unsigned long>(PositionOfIndex(index)), utf8.constData());
}

void TSqlMemo::SetTableNames(const QStringList& names) {
    m_lexer->SetTables(names);
    // The component takes a lexer's word lists when the lexer is set; this one changes later.
    SendScintilla(SCI_SETKEYWORDS, 5UL, m_lexer->keywords(6));
    recolor();
}

void TSqlMemo::MarkError(int index) {
    ClearErrorMark();
    const QString all = text();
    index = qBound(0, index, static_cast<int>(all.size()));
    int end = index;
    while (end < all.size() && (all.at(end).isLetterOrNumber() || all.at(end) == u'_')) ++end;
    if (end == index) end = qMin(static_cast<int>(all.size()), index + 1);
    if (end == index && index > 0) --index; // at the very end: the last character
    const int from = PositionOfIndex(index), to = PositionOfIndex(end);
    SendScintilla(SCI_SETINDICATORCURRENT, static_cast<unsigned long>(kErrorIndicator));
    SendScintilla(SCI_INDICATORFILLRANGE, static_cast<unsigned long>(from), static_cast<long>(to - from));
    m_errorStart = index;
    m_errorEnd = end;
}

void TSqlMemo::ClearErrorMark() {
    if (m_errorStart < 0) return;
    SendScintilla(SCI_SETINDICATORCURRENT, static_cast<unsigned long>(kErrorIndicator));
    SendScintilla(SCI_INDICATORCLEARRANGE, 0UL, SendScintilla(SCI_GETLENGTH));
    m_errorStart = m_errorEnd = -1;
}

bool TSqlMemo::HasErrorMark() const { return m_errorStart >= 0; }

QPair<int, int> TSqlMemo::ErrorMarkRange() const { return {m_errorStart, m_errorEnd}; }

QPoint TSqlMemo::CaretMarkerPoint() const {
    const long pos = SendScintilla(SCI_GETCURRENTPOS);
    const long line = SendScintilla(SCI_LINEFROMPOSITION, static_cast<unsigned long>(pos));
    const int x = static_cast<int>(SendScintilla(SCI_POINTXFROMPOSITION, 0UL, pos));
    const int y = static_cast<int>(SendScintilla(SCI_POINTYFROMPOSITION, 0UL, pos) +
                                   SendScintilla(SCI_TEXTHEIGHT, static_cast<unsigned long>(line)));
    return {x - 3, y};
}

void TSqlMemo::PlaceCaretMarker() {
    m_marker->move(CaretMarkerPoint());
    m_marker->show();
    m_marker->raise();
}

void TSqlMemo::focusInEvent(QFocusEvent* event) {
    m_marker->hide();
    QsciScintilla::focusInEvent(event);
}

void TSqlMemo::focusOutEvent(QFocusEvent* event) {
    QsciScintilla::focusOutEvent(event);
    // A popup of the memo's own (the completion list) is no leaving.
    if (event->reason() != Qt::PopupFocusReason) PlaceCaretMarker();
}

void TSqlMemo::keyPressEvent(QKeyEvent* event) {
    // Escape closes the completion list; without one it is the dialog's (Cancel).
    if (event->key() == Qt::Key_Escape && event->modifiers() == Qt::NoModifier && !isListActive() && !isCallTipActive()) {
        event->ignore();
        return;
    }
    // Tab is a character here; Ctrl+Tab and Ctrl+Shift+Tab move on, as in every text editor that keeps tabs.
    const Qt::KeyboardModifiers mods = event->modifiers() & ~Qt::KeypadModifier;
    if ((event->key() == Qt::Key_Tab || event->key() == Qt::Key_Backtab) && (mods & Qt::ControlModifier)) {
        QWidget::focusNextPrevChild(event->key() == Qt::Key_Tab && !(mods & Qt::ShiftModifier));
        return;
    }
    // Alt with a letter is the dialog's (a label's or a button's mnemonic), never text.
    if ((mods & Qt::AltModifier) && !(mods & Qt::ControlModifier)) {
        event->ignore();
        return;
    }
    QsciScintilla::keyPressEvent(event);
}

void TSqlMemo::resizeEvent(QResizeEvent* event) {
    QsciScintilla::resizeEvent(event);
    if (m_marker->isVisible()) PlaceCaretMarker();
}
