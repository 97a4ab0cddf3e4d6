#pragma once

// One chip: tables, field processors and pipeline of a unit.

#include "ChipModel/Fields/FieldProcessor.h"
#include "ChipModel/Pipeline.h"
#include "ChipModel/Profile.h"
#include "ChipModel/ReadBack.h"
#include "ChipModel/Tables/ForwardingTables.h"

namespace ChipModel {

class Chip {
 public:
   // The context must outlive this.
   Chip( int unit, const Profile& profile, const SwitchContext& context );
   Chip( const Chip& ) = delete;
   Chip& operator=( const Chip& ) = delete;

   int unit() const { return unit_; }
   const Profile& profile() const { return profile_; }
   ForwardingTables& tables() { return tables_; }
   FieldProcessor& fields() { return fields_; }
   Pipeline& pipeline() { return pipeline_; }
   ChipState state() const;

 private:
   int unit_;
   Profile profile_;
   ForwardingTables tables_;
   FieldProcessor fields_;
   Pipeline pipeline_;
};

} // namespace ChipModel
