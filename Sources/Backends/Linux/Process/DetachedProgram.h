#pragma once

#include <string>
#include <vector>

namespace tavik {

/// The file that a program's name stands for, looked up as a shell does in the
/// folders of `searchPath` ("/usr/bin:/bin"); a path stands for itself. Empty when
/// there is no such program.
std::string findProgram(const std::string& name, const std::string& searchPath);

/// Starts a program that outlives this one: in a session of its own, child of the
/// system's first process, without our open files, with the default answer to every
/// signal. The first word is the program's path; `environment` holds "NAME=value".
/// An empty folder means this process's own. The error number of a start that
/// failed, 0 when the program runs.
int startDetached(std::vector<std::string> words, std::vector<std::string> environment,
                  const std::string& workingFolder = "");

}  // namespace tavik
