#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <string>

#include "base/UniqueFd.h"

namespace quillet::platform::posix {

/// A name in an open folder. Operations use the open folder, even if the folder's path changes.
struct Place {
  UniqueFd folder = {};     ///< not open after an error; errno is then set
  struct stat status = {};  ///< status of the folder
  std::string name = {};    ///< empty if the path ends with a slash
  bool isExposed = false;   ///< true if other users may rename the folder or one of its parents
  int links = 0;            ///< number of links that were followed
};

/// Opens the folders of an absolute path one after the other (path_resolution(7)). Follows a
/// symbolic link only if it belongs to this user or root, or if no other user may write to the
/// link's folder.
/// A folder that cannot be read is opened for searching only. Any thread.
/// @return the opened place. After an error, its folder is not open; errno is ELOOP if a link was
///         not followed.
Place OpenPlace(const std::string& path);

/// Opens the target of the symbolic link at `place`, in the same way as OpenPlace.
Place FollowLink(const Place& place);

/// Opens the regular file at a place for reading. Does not follow a link. Never blocks.
/// @param place   an open place
/// @param status  receives the status of the file
/// @return an empty descriptor on error; errno is ELOOP for a link, EISDIR for a folder, and
///     kNotRegular for any other file that is not regular
UniqueFd OpenRegular(const Place& place, struct stat& status);

/// Opens the regular file that `place` names. If `place` is a symbolic link, opens its target.
UniqueFd OpenLinkedRegular(const Place& place, struct stat& status);

/// Returns true if a file or folder belongs to this user or root.
bool IsOwn(const struct stat& status);

/// Returns true if users other than the owner and root may write to a file or folder. Ignores the
/// permission of a group that contains only this user (pam_umask(8), "usergroups").
bool OthersMayWrite(const struct stat& status);

/// Returns the name of a user, or an empty string if the user is unknown.
std::string UserName(uid_t user);

}  // namespace quillet::platform::posix
