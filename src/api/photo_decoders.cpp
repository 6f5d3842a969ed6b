#include "api/photo_decoders.h"

#include <mutex>

#include "platform/dynamic_library.h"
#include "platform/mutex.h"
#include "platform/process_wide.h"

namespace idcardreader {
namespace {

using GetBmpFunction = int (*)(const char* photoFileName, int mode);
using DewltFunction = std::uintptr_t (*)(std::uintptr_t argument);

constexpr int kToBitmapFile = 1;

// A function of an outside library.
class OutsideFunction {
 public:
  OutsideFunction(const char* libraryName, const char* functionName)
      : libraryName(libraryName), functionName(functionName) {}

  // Null while it is not to be had.
  void* Resolve() {
    const std::lock_guard guard(lock);
    if (function == nullptr) {
      const auto library = platform::DynamicLibrary::Open(
          platform::DynamicLibraryFileName(libraryName),
          platform::DynamicLibrary::Dependencies::from_its_own_folder);
      function = library != nullptr ? library->Symbol(functionName) : nullptr;
      // A decoder may have threads and memory of its own: it is loaded once for the process.
      if (function != nullptr) {
        library->LeaveLoaded();
      }
    }
    return function;
  }

 private:
  const char* const libraryName;
  const char* const functionName;
  platform::CSMutex lock;
  void* function = nullptr;
};

platform::ProcessWide<OutsideFunction> getBmp("WltRS", "GetBmp");
platform::ProcessWide<OutsideFunction> dewltFunction("Dewlt", "dewlt");

}  // namespace

void DecodePhotoFile(const char* photoFileName) {
  if (const auto function = reinterpret_cast<GetBmpFunction>(getBmp->Resolve())) {
    function(photoFileName, kToBitmapFile);
  }
}

std::uintptr_t CallDewlt(std::uintptr_t argument) {
  const auto function = reinterpret_cast<DewltFunction>(dewltFunction->Resolve());
  return function != nullptr ? function(argument) : 0;
}

void ReleasePhotoDecoders() {
  getBmp.Destroy();
  dewltFunction.Destroy();
}

}  // namespace idcardreader
