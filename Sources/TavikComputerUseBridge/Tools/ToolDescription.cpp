#include "TavikComputerUseBridge/Tools/ToolDescription.h"

namespace tavik {

JSON ToolDescription::toJSON() const {
  return {
      {"name", name},
      {"title", title},
      {"description", description},
      {"inputSchema", inputSchema},
      {"annotations", {{"title", title}, {"readOnlyHint", isReadOnly}, {"openWorldHint", true}}},
  };
}

}  // namespace tavik
