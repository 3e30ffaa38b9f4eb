// The field classes of engine datasets: fixed-width strings, blobs from and to files.
#include "engine/ostdataset.h"
#include "engine/base/sysutils.h"

#include <QFile>
#include <QSaveFile>

QString TOstStringField::TrimmedValue() const {
    QString s = AsString();
    if (m_fixedChar) {
        qsizetype end = s.size();
        while (end > 0 && s.at(end - 1) == u' ') --end;
        s.truncate(end);
    }
    return s;
}

void TOstBlobField::LoadFromFile(const QString& fileName) {
    QFile f(fileName);
    if (!f.open(QIODevice::ReadOnly))
        throw EDatabaseError(QStringLiteral("Cannot read %1: %2").arg(fileName, f.errorString()));
    SetAsBytes(f.readAll());
}

void TOstBlobField::SaveToFile(const QString& fileName) const {
    const QByteArray data = AsBytes();
    QSaveFile f(fileName);
    if (!f.open(QIODevice::WriteOnly) || f.write(data) != data.size() || !f.commit())
        throw EDatabaseError(QStringLiteral("Cannot write %1: %2").arg(fileName, f.errorString()));
}

const QMetaObject* TOstDataSet::GetFieldClass(TFieldType type) const {
    switch (type) {
    case ftString:
    case ftFixedChar: return &TOstStringField::staticMetaObject;
    case ftWideString: return &TOstWideStringField::staticMetaObject;
    case ftBlob:
    case ftMemo:
    case ftWideMemo:
    case ftGraphic: return &TOstBlobField::staticMetaObject;
    case ftLargeint: return &TOstLargeIntField::staticMetaObject;
    default: return &TField::staticMetaObject;
    }
}
