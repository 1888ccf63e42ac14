#pragma once

#include <string>

#include "ComputerUseContracts/ComputerUseIPCAction.h"

namespace tavik {

/// Judges by its text whether the state that follows an action is behind the action.
namespace PostActionStateText {

/// One more look is called for.
bool shouldRetry(const std::string& content, const ComputerUseIPCAction& after);

/// Only the menu bar answered.
bool looksLikeMenuBarOnlyWeakState(const std::string& content);
/// An editor, and nothing that says where in it the work is.
bool hasEditorSurfaceWithoutModelAnchor(const std::string& content);
/// A button that sends is disabled although there is something to send.
bool hasDisabledSubmissionBesideWrittenText(const std::string& content);
bool hasFocusedTextEditingSurface(const std::string& content);

/// A line that names a thing to send with.
bool textContainsSubmissionControl(const std::string& line);
/// A line of a text input that holds more than its placeholder.
bool isNonEmptyComposerInputLine(const std::string& line);
/// What a composer shows while nothing is written.
bool isLikelyEmptyComposerPlaceholder(const std::string& value);
/// A chord that selects text: all of it, or to where a motion key goes.
bool pressKeyIsExpectedToCreateTextSelection(const std::string& key);

}  // namespace PostActionStateText

}  // namespace tavik
