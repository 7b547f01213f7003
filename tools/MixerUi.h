// The terminal mixer of `audatoms play` (ncurses), run on the user-interface thread
// while the player plays: one strip per mixer input and per mix bus with fader position,
// gain in dB, pan, mute, solo and a live peak meter with peak hold and clip latch (read
// through the tool's own Aud::MonitoringPointReaders of the monitoring points the audio
// thread posts to; a bus's meter is that of the outputs it feeds), the transport and
// the xrun, underrun and callback-load figures on a status line.
// Every edit goes through the player's mixer state and automation stores.
//
// Keys: Up/Down (k/j) select a strip; Left/Right (-/+) move its fader by 0.05; ','/'.'
// move an input's pan; m mute; s solo; a / A write an automation node at the playhead
// 3 dB below / above the input's automation level there (the walk glides to it);
// space start/stop; 0 locate to the start; '<' / '>' locate 5 s back / forward;
// c clear the clip latches; q (or Ctrl-C) quit; the terminal is restored either way.
// Threads: the calling (user-interface) thread only.
#pragma once

#include <functional>

namespace audtool {

class Player;

// Runs until q, the player's server stops, or `limitSeconds` of wall time; `tick` runs
// on every refresh (the scripted edits).
void runMixerUi(Player& player, const std::function<void()>& tick, double limitSeconds);

}  // namespace audtool
