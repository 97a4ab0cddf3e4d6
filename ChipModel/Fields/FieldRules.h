#pragma once

// What the stages of a chip can match on and do: which qualifiers a group may carry, and which
// actions, with which parameters, an entry may have.

#include "Platform/Shim/SdkTypes.h"

namespace ChipModel {

struct Profile;
struct ActionValue;

// Ingress sees where a frame came in and how it was forwarded; egress sees it as it leaves, and
// by which port: as a destination on Tomahawk chips, as an output port on the others.
Shim::QualifierSet stageQualifiers( const Profile& profile, Shim::FieldStage stage );

// Whether the stage has the action, and can do it with these parameters.
bool isAction( const Profile& profile, Shim::FieldStage stage, const ActionValue& action );

// Whether the action makes copies for the unit's mirror destination.
bool mirrorsTo( const ActionValue& action, uint32_t unit, uint32_t destination );

} // namespace ChipModel
