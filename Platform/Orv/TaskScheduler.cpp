#include "Platform/Orv/TaskScheduler.h"

#include <algorithm>
#include <optional>

namespace Orv {

namespace {

// Not an owner: the scheduler goes with the last machine that uses it.
TaskScheduler* theScheduler = nullptr;

class AgentScheduler : public TaskScheduler {
 public:
   AgentScheduler() { theScheduler = this; }

 private:
   void lastRelease() override { theScheduler = nullptr; }
};

} // namespace

TaskScheduler::TaskScheduler() : clock_( *this, [ this ] { runNext(); } ) {}

void TaskScheduler::runNext() {
   clock_.timeMinIs( Zol::never );
   if ( backlog_.empty() ) {
      return;
   }
   Task* task = backlog_.front();
   backlog_.pop_front();
   if ( !backlog_.empty() ) {
      clock_.timeMinIs( Zol::activityManager().now() );
   }
   task->scheduled_ = false;
   std::shared_ptr< const Task::Work > work = task->work_;
   std::optional< Zol::Pin > keepOwner;
   if ( task->owner_ ) {
      keepOwner.emplace( *task->owner_ );
   }
   ( *work )();
}

Task::Task( Zol::Ptr< TaskScheduler > scheduler, Work work )
      : scheduler_( scheduler ), work_( std::make_shared< Work >( std::move( work ) ) ) {}

Task::Task( Zol::Ptr< TaskScheduler > scheduler, const Zol::RefCounted& owner, Work work )
      : Task( scheduler, std::move( work ) ) {
   owner_ = &owner;
}

void Task::schedule() {
   if ( !scheduled_ ) {
      scheduled_ = true;
      scheduler_->backlog_.push_back( this );
      if ( scheduler_->clock_.timeMin() == Zol::never ) {
         scheduler_->clock_.timeMinIs( Zol::activityManager().now() );
      }
   }
}

void Task::cancel() {
   if ( scheduled_ ) {
      scheduled_ = false;
      std::erase( scheduler_->backlog_, this );
   }
}

Zol::Ptr< TaskScheduler > TaskSchedulerRoot::findOrCreateScheduler() {
   return theScheduler ? theScheduler : new AgentScheduler;
}

ZOL_DEFINE_ENTITY( TaskScheduler );

} // namespace Orv
