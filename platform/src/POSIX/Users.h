// Users.h: the password database's answers the host needs: the user's home folder (where the
// user's folders and preferences lie) and the name of a user ID (the login name, the folder of
// the user's own volumes).
#pragma once

#include <sys/types.h>

#include <string>

#ifndef ZRP_TESTABLE
// The functions tests reach directly are visible outside the library.
#define ZRP_TESTABLE __attribute__((visibility("default")))
#endif

namespace zrp {

// The home folder: $HOME when it holds an absolute path, else the real user's entry in the
// password database when that is absolute; false when neither gives one (or without memory).
ZRP_TESTABLE bool HomeFolder(std::string* home);

// The name of the user ID in the password database; false when it has no entry (or without
// memory).
ZRP_TESTABLE bool UserNameOfUID(uid_t uid, std::string* name);

}  // namespace zrp
