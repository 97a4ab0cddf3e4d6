#pragma once

// Reference-counted pointers of the entity framework.
//
// Counts are plain integers: entities belong to the thread that holds the activity lock, so
// copying a pointer costs an increment and no atomic operation.
//
// When the last pointer to an object goes, the object is told once (lastRelease, where a state
// machine tears down what it owns), lets go of what it owns, and is then freed. A pin keeps the
// memory of an object that is being called, without keeping the object from being told.
//
// An object may make pointers to itself until its tear-down has ended, and while it is freed.
// Its constructor may not: nobody holds the object yet, so the first pointer that goes would
// end it.

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

namespace Zol {

class RefCounted {
 public:
   RefCounted( const RefCounted& ) = delete;
   RefCounted& operator=( const RefCounted& ) = delete;

   void ref() const { ++refs_; }
   void unref() const {
      if ( --refs_ == 0 ) [[unlikely]] {
         noMorePointers();
      }
   }
   void pin() const { ++pins_; }
   void unpin() const {
      if ( --pins_ == 0 && gone_ && refs_ == 0 ) [[unlikely]] {
         freeUnlessCalled();
      }
   }
   // True from the moment at which the last pointer went.
   bool isGone() const { return gone_; }

 protected:
   RefCounted() = default;
   virtual ~RefCounted() = default;
   // Runs once, with the object still whole, when the last pointer has gone.
   virtual void lastRelease() {}
   // Runs once after lastRelease(): owned entities go, in an order that does not depend on the
   // type.
   virtual void zolDropOwned() {}

 private:
   friend class Delivery;
   void noMorePointers() const;
   void freeUnlessCalled() const;

   mutable uint32_t refs_ = 0;
   mutable uint32_t pins_ = 0;
   mutable bool gone_ = false;
};

// Keeps an object's memory for the duration of a scope.
class Pin {
 public:
   explicit Pin( const RefCounted& object ) : object_( object ) { object_.pin(); }
   ~Pin() { object_.unpin(); }
   Pin( const Pin& ) = delete;
   Pin& operator=( const Pin& ) = delete;

 private:
   const RefCounted& object_;
};

template < typename T >
class Ptr {
 public:
   Ptr() = default;
   Ptr( std::nullptr_t ) {}
   Ptr( T* object ) : object_( object ) {
      if ( object_ ) {
         object_->ref();
      }
   }
   Ptr( const Ptr& other ) : Ptr( other.object_ ) {}
   Ptr( Ptr&& other ) noexcept : object_( std::exchange( other.object_, nullptr ) ) {}
   template < typename U >
   requires std::is_convertible_v< U*, T* > Ptr( const Ptr< U >& other ) : Ptr( other.get() ) {}
   ~Ptr() { release(); }

   Ptr& operator=( const Ptr& other ) {
      Ptr( other ).swap( *this );
      return *this;
   }
   Ptr& operator=( Ptr&& other ) noexcept {
      Ptr( std::move( other ) ).swap( *this );
      return *this;
   }
   Ptr& operator=( std::nullptr_t ) {
      Ptr().swap( *this );
      return *this;
   }

   T* get() const { return object_; }
   T& operator*() const { return *object_; }
   T* operator->() const { return object_; }
   explicit operator bool() const { return object_ != nullptr; }
   void swap( Ptr& other ) noexcept { std::swap( object_, other.object_ ); }

   template < typename U >
   bool operator==( const Ptr< U >& other ) const {
      return object_ == other.get();
   }
   bool operator==( std::nullptr_t ) const { return object_ == nullptr; }

 private:
   void release() {
      if ( object_ ) {
         object_->unref();
      }
   }

   T* object_ = nullptr;
};

template < typename T, typename... Args >
Ptr< T > make( Args&&... args ) {
   return Ptr< T >( new T( std::forward< Args >( args )... ) );
}

// Narrowing; null if the object is of another type.
template < typename T, typename U >
Ptr< T > dynamicCast( const Ptr< U >& other ) {
   return Ptr< T >( dynamic_cast< T* >( other.get() ) );
}

} // namespace Zol
