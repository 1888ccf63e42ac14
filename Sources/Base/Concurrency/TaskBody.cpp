#include "Base/Concurrency/TaskBody.h"

#include <exception>

#include "Base/Concurrency/CancellationError.h"
#include "Base/Concurrency/Mutex.h"

namespace tavik {

void runTaskBody(const std::string& name, const std::function<void()>& body) {
  try {
    body();
  } catch (const CancellationError&) {
  } catch (const std::exception& error) {
    failContract(("task '" + name + "' ended with an exception: " + error.what()).c_str());
  }
}

}  // namespace tavik
