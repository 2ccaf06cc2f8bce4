#pragma once

class Document;

// Fills `copy`, a new document, with what `original` holds now: the same boats, logs, races, media
// and derived legs and manoeuvres, shared rather than duplicated. Work that moves a playback
// position of its own through an event (a film being exported) runs on the copy, and the user's
// windows stay where they are. The copy is for reading: an edit made to it would reach the shared
// objects of the original.
void copyDocumentContent(const Document& original, Document& copy);
