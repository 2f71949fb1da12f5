/// Names of the session manager (org.freedesktop.login1).
#pragma once

namespace jv::login {

inline constexpr const char* kService = "org.freedesktop.login1";
inline constexpr const char* kPath = "/org/freedesktop/login1";
inline constexpr const char* kManager = "org.freedesktop.login1.Manager";
inline constexpr const char* kSession = "org.freedesktop.login1.Session";
inline constexpr const char* kUser = "org.freedesktop.login1.User";

/// Where a login leaves the identifier of its session. It survives a change of user, so it may name another's.
inline constexpr const char* kSessionVariable = "XDG_SESSION_ID";

}  // namespace jv::login
