#include "core/StateFolder.h"

#include <QDir>
#include <QProcessEnvironment>

QString wakelineStateFolder() {
    QString state = QProcessEnvironment::systemEnvironment().value(QStringLiteral("XDG_STATE_HOME"));
    if (state.isEmpty())
        state = QDir::homePath() + QStringLiteral("/.local/state");
    return state + QStringLiteral("/Wakeline");
}
