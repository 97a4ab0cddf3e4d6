#pragma once

// The containers behind collection attributes. All are ordered by key, so that walking them
// takes the same order in every run. Their iterators have key(); those of maps and collections
// also value().

#include <algorithm>
#include <initializer_list>
#include <map>
#include <utility>
#include <vector>

namespace Zol {

// A set as a sorted vector: small, quick to copy and to compare, one allocation. Inserting in
// ascending order is O( 1 ); inserting elsewhere moves what stands behind.
template < typename T >
class Set {
 public:
   class Iterator {
    public:
      using difference_type = std::ptrdiff_t;
      using value_type = T;
      using pointer = const T*;
      using reference = const T&;
      using iterator_category = std::forward_iterator_tag;

      Iterator() = default;
      explicit Iterator( const T* at ) : at_( at ) {}
      const T& key() const { return *at_; }
      const T& operator*() const { return *at_; }
      const T* operator->() const { return at_; }
      Iterator& operator++() {
         ++at_;
         return *this;
      }
      Iterator operator++( int ) { return Iterator( at_++ ); }
      bool operator==( const Iterator& ) const = default;

    private:
      const T* at_ = nullptr;
   };

   Set() = default;
   Set( std::initializer_list< T > elements ) {
      for ( const T& element : elements ) {
         insert( element );
      }
   }

   // True if the element is new.
   bool insert( T element ) {
      if ( sorted_.empty() || sorted_.back() < element ) {
         sorted_.push_back( std::move( element ) );
         return true;
      }
      auto at = std::lower_bound( sorted_.begin(), sorted_.end(), element );
      if ( !( element < *at ) ) {
         return false;
      }
      sorted_.insert( at, std::move( element ) );
      return true;
   }
   // True if the element was there.
   bool erase( const T& element ) {
      auto at = std::lower_bound( sorted_.begin(), sorted_.end(), element );
      if ( at == sorted_.end() || element < *at ) {
         return false;
      }
      sorted_.erase( at );
      return true;
   }
   void clear() { sorted_.clear(); }
   bool contains( const T& element ) const {
      return std::binary_search( sorted_.begin(), sorted_.end(), element );
   }
   Iterator find( const T& element ) const {
      auto at = std::lower_bound( sorted_.begin(), sorted_.end(), element );
      bool found = at != sorted_.end() && !( element < *at );
      return found ? Iterator( &*at ) : end();
   }
   size_t size() const { return sorted_.size(); }
   bool empty() const { return sorted_.empty(); }
   Iterator begin() const { return Iterator( sorted_.data() ); }
   Iterator end() const { return Iterator( sorted_.data() + sorted_.size() ); }

   bool operator==( const Set& ) const = default;
   bool operator<( const Set& other ) const { return sorted_ < other.sorted_; }

 private:
   std::vector< T > sorted_;
};

// A map whose iterators have key() and value(). Used for maps of values (V) and, with V a
// Zol::Ptr, for collections of entities.
template < typename K, typename V >
class Map {
   using Base = std::map< K, V, std::less<> >;

 public:
   class Iterator : public Base::const_iterator {
    public:
      using Base::const_iterator::const_iterator;
      Iterator( typename Base::const_iterator at ) : Base::const_iterator( at ) {}
      const K& key() const { return ( **this ).first; }
      const V& value() const { return ( **this ).second; }
   };

   Iterator begin() const { return map_.begin(); }
   Iterator end() const { return map_.end(); }
   Iterator find( const K& key ) const { return map_.find( key ); }
   bool contains( const K& key ) const { return map_.find( key ) != map_.end(); }
   size_t size() const { return map_.size(); }
   bool empty() const { return map_.empty(); }

   // A copy of the keys: for walking a live collection while making calls that may change it.
   std::vector< K > keys() const {
      std::vector< K > result;
      result.reserve( map_.size() );
      for ( const auto& element : map_ ) {
         result.push_back( element.first );
      }
      return result;
   }

   bool operator==( const Map& ) const = default;
   bool operator<( const Map& other ) const { return map_ < other.map_; }

   // For the owner of the map only: everybody else gets it as const.
   Base& base() { return map_; }

 private:
   Base map_;
};

} // namespace Zol
