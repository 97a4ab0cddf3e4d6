#pragma once

// One chip: tables, field processors and pipeline of a unit.

#include "ChipModel/ChipProfile.h"
#include "ChipModel/FieldProcessor.h"
#include "ChipModel/Pipeline.h"
#include "ChipModel/ReadBack.h"
#include "ChipModel/Tables.h"

namespace ChipModel {

class Chip {
 public:
   // The context must outlive this.
   Chip( int unit, const ChipProfile& profile, const SwitchContext& context );
   Chip( const Chip& ) = delete;
   Chip& operator=( const Chip& ) = delete;

   int unit() const { return unit_; }
   const ChipProfile& profile() const { return profile_; }
   Tables& tables() { return tables_; }
   FieldProcessor& fields() { return fields_; }
   Pipeline& pipeline() { return pipeline_; }
   ChipState state() const;

 private:
   int unit_;
   ChipProfile profile_;
   Tables tables_;
   FieldProcessor fields_;
   Pipeline pipeline_;
};

} // namespace ChipModel
