#pragma once

#include <string>

#include "src/components/iauthorizationmanager.h"
#include "src/components/operation/ocpp16/messages/idtaginfocommon.h"

class ISystemAccessInterface;

// What StartTransaction, StopTransaction and Authorize do alike with the idTagInfo of their answers.

// A number outside the five statuses is logged and counts as Invalid.
EAuthorizationStatus ToAuthorizationStatus(Ocpp16::IdTagInfoCommon::EAuthorizationStatus status);

// The idTagInfo of an answer whose status is none of the five texts: it is logged and counts as Invalid.
Ocpp16::IdTagInfoCommon::idTagInfo ToInvalid(const Ocpp16::IdTagInfoCommon::foreignIdTagInfo& info);

// When what `info` says ends; empty: never. A date that cannot be read is logged and counts as absent.
IAuthorizationManager::CExpiry ReadExpiry(const Ocpp16::IdTagInfoCommon::idTagInfo& info);

// Tells the authorization manager what the backoffice said of `idTag`. An absent parent is the empty text.
void UpdateAuthorizationCache(const ISystemAccessInterface& systemAccess, const std::string& idTag,
                              const Ocpp16::IdTagInfoCommon::idTagInfo& info);
