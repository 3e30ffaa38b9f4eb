#include "common/rkdialogs.h"

#include "common/ostdialogservice.h"

bool rkSelectDirectory(const QString& Caption, const QString& Root, QString& Directory) {
    Q_UNUSED(Root);
    // The chooser works on a copy, so a cancelled choice cannot leave a
    // half-changed Directory behind.
    QString chosen = Directory;
    if (!OstDialogs().SelectDirectory(nullptr, Caption, chosen))
        return false;
    Directory = chosen;
    return true;
}
