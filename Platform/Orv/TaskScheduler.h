#pragma once

// Backlog tasks: work that a handler puts off to a later turn of the event loop. A task that is
// scheduled twice before it runs is run once. Tasks run one after the other, in the order in
// which they were scheduled.
//
//    Orv::Task update_{ scheduler, *this, [ this ] { updateRules(); } };
//    update_.schedule();

#include <deque>
#include <functional>

#include "Platform/Zol/Clock.h"
#include "Platform/Zol/Entity.h"

namespace Orv {

class Task;

class TaskScheduler : public Zol::Entity {
   ZOL_ENTITY( Orv, TaskScheduler, Zol::Entity );

 public:
   TaskScheduler();

 private:
   friend class Task;
   void runNext();

   std::deque< Task* > backlog_;
   Zol::Clock clock_;
};

// The work may destroy the task. A task that knows its owner keeps the owner's memory while the
// work runs, so that the work may also let go of its machine.
class Task {
 public:
   using Work = std::function< void() >;

   Task( Zol::Ptr< TaskScheduler > scheduler, Work work );
   Task( Zol::Ptr< TaskScheduler > scheduler, const Zol::RefCounted& owner, Work work );
   ~Task() { cancel(); }
   Task( const Task& ) = delete;
   Task& operator=( const Task& ) = delete;

   void schedule();
   void cancel();
   bool isScheduled() const { return scheduled_; }

 private:
   friend class TaskScheduler;

   Zol::Ptr< TaskScheduler > scheduler_;
   const Zol::RefCounted* owner_ = nullptr;
   std::shared_ptr< const Work > work_; // shared with the run that is under way
   bool scheduled_ = false;
};

class TaskSchedulerRoot {
 public:
   // The agent's scheduler; made when it is first asked for, and kept while anybody holds it.
   static Zol::Ptr< TaskScheduler > findOrCreateScheduler();
};

} // namespace Orv
