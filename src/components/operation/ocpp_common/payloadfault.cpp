#include "src/components/operation/ocpp_common/payloadfault.h"

#include <nlohmann/json.hpp>

#include "src/components/operation/ocpp_common/constraints.h"

namespace {

std::string WithoutLastToken(const std::string& text) { return text.substr(0, text.find("; last read: ")); }

}  // namespace

SPayloadFault CurrentPayloadFault()
{
  try {
    throw;
  } catch (const nlohmann::detail::out_of_range& error) {
    return {EPayloadFault::EMissingMember, error.what()};
  } catch (const nlohmann::detail::exception& error) {
    return {EPayloadFault::EJson, WithoutLastToken(error.what())};
  } catch (const char* text) {
    return {EPayloadFault::ENotConforming, text};
  } catch (const OcppConstraints::classMemberConstraintException& error) {
    return {EPayloadFault::EConstraint, error.what()};
  } catch (const std::exception& error) {
    return {EPayloadFault::EStandard, error.what()};
  } catch (...) {
    return {EPayloadFault::EUnknown, ""};
  }
}
