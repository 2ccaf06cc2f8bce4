#pragma once

// Where the playback time is published while playing: nowhere, a file holding the latest time,
// or a named pipe receiving one time after another.
enum class TimestampWriteMode { Disabled = 0, File = 1, Pipe = 2 };

// How a published time is written.
enum class TimestampFormat { UnixSecFloat = 0, UnixSecInt = 1, DelphiMsecInt = 2 };
