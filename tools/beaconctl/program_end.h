#pragma once

namespace beaconctl {

// Makes SIGINT and SIGTERM end the program at once, with status kFailed until NoteResult is
// called, and on a terminal that is being drawn make lines wrap again.
void EndOnSignals();

// Whether a question had a result. The status at a signal is then kFound if any had one,
// otherwise kNothingFound.
void NoteResult(bool found);

// Whether a screen is being drawn (ScreenText).
void NoteDrawing(bool drawing);

} // namespace beaconctl
