#include "Agent/Live/Prompt.h"

#include <histedit.h>

#include <cstdio>

#include "Platform/Zol/Assert.h"

namespace Agent {

struct Prompt::State {
   std::string text;
   EditLine* editor = nullptr;
   History* history = nullptr;
   HistEvent event{};
};

namespace {

constexpr int keptLines = 1000;

} // namespace

Prompt::Prompt( const std::string& text ) : state_( std::make_unique< State >() ) {
   state_->text = text;
   state_->history = history_init();
   state_->editor = el_init( "karvel-agent", stdin, stdout, stderr );
   ZOL_ASSERT( state_->history && state_->editor );
   history( state_->history, &state_->event, H_SETSIZE, keptLines );
   history( state_->history, &state_->event, H_SETUNIQUE, 1 );
   el_set( state_->editor, EL_CLIENTDATA, state_.get() );
   el_set(
         state_->editor, EL_PROMPT, +[]( EditLine* editor ) -> char* {
            void* data = nullptr;
            el_get( editor, EL_CLIENTDATA, &data );
            return static_cast< State* >( data )->text.data();
         } );
   el_set( state_->editor, EL_HIST, history, state_->history );
   el_set( state_->editor, EL_EDITOR, "emacs" );
   el_set( state_->editor, EL_SIGNAL, 1 ); // the terminal is put right when a signal ends us
   el_source( state_->editor, nullptr );   // the user's ~/.editrc
}

Prompt::~Prompt() {
   el_end( state_->editor );
   history_end( state_->history );
}

std::optional< std::string > Prompt::next() {
   int length = 0;
   const char* text = el_gets( state_->editor, &length );
   if ( !text || length <= 0 ) {
      return {};
   }
   std::string line( text, static_cast< size_t >( length ) );
   if ( line.find_first_not_of( " \t\r\n" ) != std::string::npos ) {
      history( state_->history, &state_->event, H_ENTER, text );
   }
   line.erase( line.find_last_not_of( "\r\n" ) + 1 );
   return line;
}

} // namespace Agent
