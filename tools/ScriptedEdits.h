// Timed edits for the player (`audatoms play --edits FILE`), replayed from the
// user-interface thread when the transport reaches their times, exactly as a person's
// edits are made: through the mixer state's setters and the automation stores.
//
// One edit per line, "TIME EDIT ARGS"; TIME in seconds of the transport position;
// '#' starts a comment; blank lines are skipped:
//   1.0 fader INPUT POSITION      fader position (0 .. 1.5, 1 = unity)
//   1.0 pan INPUT PAN             0 left, 0.5 centre, 1 right
//   1.0 mute INPUT on|off
//   1.0 solo INPUT on|off
//   1.0 node INPUT AT LEVEL       insert an automation node; AT seconds or "now" (the
//                                 playhead when applied); LEVEL linear or dB ("-6dB")
//   1.0 erase INPUT AT            erase the automation nodes at AT seconds
//   1.0 move INPUT FROM TO        move the automation node at FROM seconds to TO
// Every malformed line is an InputError "<file>:<line>: <what>".
// Threads: parsing anywhere; apply() on the user-interface thread.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace audtool {

class Player;

struct ScriptedEdit {
    enum class Kind { kFader, kPan, kMute, kSolo, kNode, kErase, kMove };
    double time = 0;  // seconds of the transport position
    Kind kind = Kind::kFader;
    unsigned input = 0;
    double value = 0;    // fader, pan, on (1) / off (0), the node's level
    double at = 0;       // node, erase, move: the node's time
    bool atNow = false;  // node: at the playhead
    double to = 0;       // move: the new time
    int line = 0;
    std::string text;  // the line as written
};

std::vector<ScriptedEdit> loadEdits(const std::filesystem::path& path);
std::vector<ScriptedEdit> parseEdits(const std::string& text, const std::string& name);

// Applies an edit to the player's mixer state or automation store (InputError for an
// input the session does not have). Returns the transport position (frames) read just
// after the edit: the first block that can reflect it starts there or one period later.
std::int64_t applyEdit(const ScriptedEdit& edit, Player& player);

const char* editKindName(ScriptedEdit::Kind kind);

}  // namespace audtool
