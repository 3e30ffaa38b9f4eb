// Small helpers the Studio's windows share: reporting failures to the user
// and the packed design position of components.
#pragma once

#include "common/ostdialogservice.h"
#include "engine/base/sysutils.h"

#include <QString>
#include <exception>

class QWidget;
class TComponent;

// The one way a failure reaches the user: an "Error" message box.
void ShowStudioError(QWidget* owner, const QString& message);

// Runs f; an exception it raises is shown as an error and false returned.
template <class F> bool RunReported(QWidget* owner, F&& f) {
    try {
        f();
        return true;
    } catch (const Exception& e) {
        ShowStudioError(owner, e.Message());
    } catch (const std::exception& e) {
        ShowStudioError(owner, QString::fromLocal8Bit(e.what()));
    }
    return false;
}

// DesignInfo of a position: left in the low, top in the high 16 bits. The
// position is kept within what 16 bits hold.
qint32 PackDesignInfo(int left, int top);

// "OstTable1: TOstTable".
QString ComponentCaption(const TComponent* c);
