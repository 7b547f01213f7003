// Aud::eIO_Direction: which way audio flows through a hardware connection, as seen
// from the editor: recorded from the hardware (input) or played out to it (output).
// The numbers are exchanged with the host's hardware layer and are fixed.
#pragma once

namespace Aud {

enum eIO_Direction : int {
    keIO_DirectionInvalid = 0,
    keIO_DirectionInput = 1,
    keIO_DirectionOutput = 2,
};

}  // namespace Aud
