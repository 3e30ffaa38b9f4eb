// The scripted dialog service for one test, installed while the object lives.
// A dialog the script did not expect is answered as cancelled (or with no
// button) and recorded in failures, which a test compares with an empty list.
#pragma once

#include "common/ostscripteddialogs.h"

#include <QStringList>

struct TCollectedDialogs {
    TScriptedDialogService service;
    TScopedDialogService scope{&service};
    QStringList failures;
    TCollectedDialogs() {
        service.SetFailureHandler([this](const QString& m) { failures.append(m); });
    }
    // The text of the last call (a message, or a prompt's label).
    QString LastText() const { return service.Calls().isEmpty() ? QString() : service.Calls().last().Text; }
};
