#pragma once

class AppDelegate;
class PresentationWindowController;

// The menu bar and the layout toolbar of a window: documents (File), layouts (View), the
// window's playback commands (Playback), presentation windows (Window) and Help.
class MainMenu {
public:
    static void install(PresentationWindowController& window, AppDelegate& delegate);
};
