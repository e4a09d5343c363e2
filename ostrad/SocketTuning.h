#pragma once

namespace ostrad {

// Socket options that decide how a connection ends, applied to the descriptor itself. (An option
// set through Asio would be undone by Asio: its destructor turns lingering off before it closes.)

// From now on any close of this socket, the kernel's at the end of the process included, resets the
// connection instead of starting the closing handshake that ends in TIME_WAIT on our port.
void resetOnClose(int socket);

// Ends the connection with a reset now, though another thread may have a descriptor of it still.
void resetNow(int socket);

// Whether both sides have ended the connection and the peer has acknowledged everything, or it
// broke.
[[nodiscard]] bool hasEnded(int socket);

// A second descriptor of the socket, for another thread: what is closed meanwhile cannot be
// mistaken for it. Negative when there is none left.
int secondDescriptor(int socket);

// Keeps the socket from the helper programs this server starts: one that inherited it would hold
// the port, or the connection, open.
void keepFromChildren(int socket);

} // namespace ostrad
