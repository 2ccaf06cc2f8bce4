#pragma once

#include <QString>

// Where Wakeline keeps what it writes for itself between runs (crash reports, recovery copies):
// $XDG_STATE_HOME/Wakeline, else ~/.local/state/Wakeline.
QString wakelineStateFolder();
