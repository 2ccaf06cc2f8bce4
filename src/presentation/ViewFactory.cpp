#include "presentation/ViewFactory.h"

#include "core/FatalError.h"
#include "presentation/DocumentObservingViewController.h"

#include <QHash>

namespace {
QHash<QString, ViewFactory::Constructor>& constructors() {
    static QHash<QString, ViewFactory::Constructor> table;
    return table;
}
} // namespace

DocumentObservingViewController* ViewFactory::make(const QString& identifier, QWidget* parent) {
    auto it = constructors().constFind(identifier);
    if (it == constructors().constEnd())
        fatalError("Unknown view identifier");
    return (*it)(parent);
}

void ViewFactory::registerView(const QString& identifier, Constructor constructor) {
    constructors().insert(identifier, std::move(constructor));
}
