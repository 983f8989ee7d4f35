#pragma once

namespace beaconctl {

// SIGINT and SIGTERM end the program at once from now on, with the status kFailed until
// NoteResult is called. If a screen is being drawn (NoteDrawing), they first switch the
// terminal's line wrapping on again.
void EndOnSignals();

// Records whether a question had a result. The status after a signal is then kFound if any
// question had one, otherwise kNothingFound.
void NoteResult(bool found);

// Records whether a screen is being drawn (ScreenText).
void NoteDrawing(bool drawing);

} // namespace beaconctl
