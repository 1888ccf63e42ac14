#pragma once

namespace tavik {

/// What the agent never touches.
enum class RefusedApplicationClass {
  passwordManager,
  /// Whatever gives access to a command line.
  terminal,
  /// Asks for secrets or speaks for the system: notification centres, prompts for
  /// passwords, lock screens.
  systemApp,
};

}  // namespace tavik
