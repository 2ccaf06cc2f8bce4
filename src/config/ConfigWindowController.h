#pragma once

#include <QMainWindow>
#include <QPointer>

class ConfigViewController;
class Document;

// The configuration window of a document: one per document, made on first use and shown again
// after; it closes with its document. Its toolbar adds boats, races and media groups.
class ConfigWindowController : public QMainWindow {
    Q_OBJECT
public:
    // The document's window, made if needed, brought to the front.
    static ConfigWindowController* showFor(Document* document);
    // The document's window if it has one.
    static ConfigWindowController* of(Document* document);

    Document* currentDocument() const { return currentDocument_; }
    ConfigViewController* configViewController() const { return view_; }

    // Each adds a new item as an undoable edit and selects it, so that its editor opens.
    void addBoat();
    void addRace();
    void addMediaGroup();

    // "Boat 3": the first name of that form, counting from `count` + 1, that no item has yet.
    static QString newName(const QString& stem, int count, const QStringList& taken);

private:
    explicit ConfigWindowController(Document* document);
    void updateTitle();

    QPointer<Document> currentDocument_;
    ConfigViewController* view_;
};
