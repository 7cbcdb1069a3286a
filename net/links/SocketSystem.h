// What Socket asks of the system beyond the sockets API both share; each
// system has its own implementation file.
#pragma once

#include "net/links/Socket.h"

#include <string>

namespace ferrow::net::socket_system {

// Whether sockets can be used, starting them where the system must.
bool Started();
// Non-blocking and kept from programs we start; invalid on failure.
Socket NewSocket(bool stream);
void Close(Socket::Handle fd);
// A waiting connection as it comes from the listener, negative when none.
Socket::Handle AcceptHandle(Socket::Handle listener);
// The error number of this thread's last failed call.
int LastError();
// The system's sentence for an error number, and for a failed name lookup,
// without a full stop.
std::string ErrorText(int error);
std::string LookUpText(int status);
// Whether a non-blocking connect that failed at once is only under way.
bool ConnectUnderWay(int error);
// False when the system refuses the setting.
bool SetOption(Socket::Handle fd, int level, int name, int value);
// How a bound port is held: a stream port as ours alone for listening, a
// datagram port shared with other programs.
bool HoldPort(const Socket& socket, bool stream);

}  // namespace ferrow::net::socket_system
