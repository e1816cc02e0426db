#include "src/components/seccutils.h"

namespace SeccUtils {

CInvalidInstanceException::CInvalidInstanceException(const std::string& name, uint32_t instance)
    : std::out_of_range("[" + name + "] Invalid instance [" + std::to_string(instance) + "] selected")
{}

CMultipleRegisterInstanceException::CMultipleRegisterInstanceException(const std::string& notification)
    : std::logic_error("[" + notification + "] Handler may only be registered once per component")
{}

void CheckInstance(const std::string& name, uint32_t instance, uint32_t first, uint32_t last)
{
  if (instance < first || instance > last) throw CInvalidInstanceException(name, instance);
}

}  // namespace SeccUtils
