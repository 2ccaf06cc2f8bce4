#include "app/EditingVerb.h"

#include "app/PackageOpening.h"
#include "core/Diagnostics.h"
#include "document/Document.h"
#include "document/DocumentEdit.h"
#include "document/DocumentPackageWriter.h"

#include <QDir>
#include <QFileInfo>
#include <cstdio>
#include <iostream>
#include <nlohmann/json.hpp>

int EditingVerb::run(const QString& packagePath, std::unique_ptr<DocumentEdit> edit,
                     const std::function<void(const Document&, nlohmann::ordered_json&)>& describe) {
    return run(
        packagePath, [&edit](Document&) -> Preparation { return std::move(edit); }, describe);
}

int EditingVerb::run(const QString& packagePath, const std::function<Preparation(Document&)>& prepare,
                     const std::function<void(const Document&, nlohmann::ordered_json&)>& describe) {
    Diagnostics::setStream(stderr);
    const QString path = QDir::cleanPath(QFileInfo(packagePath).absoluteFilePath());
    Document document;
    if (QString why; !openPackage(path, document, &why)) {
        std::fprintf(stderr, "%s\n",
                     why.isEmpty() ? "The document could not be opened; it was left as it was."
                                   : qPrintable(why));
        return 1;
    }
    Preparation prepared = prepare(document);
    if (auto* reason = std::get_if<QString>(&prepared)) {
        std::fprintf(stderr, "%s\n", qPrintable(*reason));
        return 1;
    }
    auto edit = std::get<std::unique_ptr<DocumentEdit>>(std::move(prepared));
    edit->apply(document);
    if (auto error = DocumentPackageWriter::write(document, path)) {
        std::fprintf(stderr, "%s\n", qPrintable(error->description(QStringLiteral(" "))));
        return 1;
    }
    nlohmann::ordered_json json;
    json["package"] = path.toStdString();
    json["edit"] = edit->text().toStdString();
    describe(document, json);
    std::cout << json.dump(2) << std::endl;
    return 0;
}
