#include "studio/studioutils.h"

#include "engine/base/tcomponent.h"

#include <QWidget>
#include <algorithm>

void ShowStudioError(QWidget* owner, const QString& message) {
    OstDialogs().MessageBox(owner, QStringLiteral("Error"), message, QMessageBox::Critical, QMessageBox::Ok);
}

qint32 PackDesignInfo(int left, int top) {
    const auto clamp16 = [](int v) { return static_cast<quint32>(std::clamp(v, -32768, 32767)) & 0xFFFFu; };
    return static_cast<qint32>((clamp16(top) << 16) | clamp16(left));
}

QString ComponentCaption(const TComponent* c) {
    if (!c) return QString();
    return QStringLiteral("%1: %2").arg(c->GetName(), QString::fromLatin1(c->metaObject()->className()));
}
