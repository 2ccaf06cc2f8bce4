// A desktop program the recovery test can kill: it opens the package named first, renames its
// first race as a user would, says "written" once the recovery copy has it, and runs on until it
// is killed. The state folder comes from XDG_STATE_HOME, as in the real program.
#include "app/AppDelegate.h"
#include "app/DocumentController.h"
#include "app/RecoveryScheduler.h"
#include "app/StandardViews.h"
#include "core/UserDefaults.h"
#include "document/Document.h"
#include "race/Race.h"

#include <QApplication>
#include <QTemporaryDir>
#include <cstdio>

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    if (argc < 3)
        return 2;
    QTemporaryDir settings;
    UserDefaults::useFile(settings.filePath("settings.ini"));
    StandardViews::registerAll();
    AppDelegate delegate;
    DocumentController& documents = delegate.documentController();
    QObject::connect(&documents, &DocumentController::documentOpened, &application,
                     [argv](Document* document) {
                         auto* scheduler = document->findChild<RecoveryScheduler*>();
                         if (!scheduler)
                             std::exit(3);
                         QObject::connect(scheduler, &RecoveryScheduler::written, [](bool ok) {
                             std::printf(ok ? "written\n" : "failed\n");
                             std::fflush(stdout);
                         });
                         document->races().front()->setName(QString::fromLocal8Bit(argv[2]));
                     });
    if (!documents.openDocument(QString::fromLocal8Bit(argv[1])))
        return 1;
    return application.exec();
}
