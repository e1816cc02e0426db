#include "src/components/backofficeid.h"

std::string BackofficeName(EBackofficeId id)
{
  switch (id) {
    case EBackofficeId::EPrimary:
      return "Cpo Backoffice";
    case EBackofficeId::EAuxiliary:
      return "Tovira Hub";
    case EBackofficeId::ENone:
      break;
  }
  return "Unknown Backoffice with ID: " + std::to_string(static_cast<int>(id)) + " ";
}
