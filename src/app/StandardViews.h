#pragma once

// Puts the child views of presentation windows in the view factory under their
// identifiers; called once at start-up.
class StandardViews {
public:
    static void registerAll();
};
