#include "Agent/Commands/Help.h"

#include <algorithm>
#include <sstream>
#include <string_view>

#include "Agent/Commands/Script.h"
#include "Agent/Configuration/Names.h"
#include "Agent/Reports/AgentReports.h"
#include "ChipModel/Profile.h"

namespace Agent {

namespace {

std::string nameAndValue( const OptionRow& row ) {
   return *row.value ? std::string( row.name ) + " " + row.value : row.name;
}

// What may stand for a value, where that is known.
std::vector< std::string > wordsOf( Values values ) {
   std::vector< std::string > words;
   if ( values == Values::reports ) {
      words.assign( reportNames().begin(), reportNames().end() );
   } else if ( values == Values::chips ) {
      for ( const ChipModel::Profile& profile : ChipModel::chipProfiles() ) {
         words.emplace_back( profile.name );
      }
   } else if ( values == Values::commands ) {
      for ( const CommandRow& row : commandRows() ) {
         words.emplace_back( row.name );
      }
   } else if ( values == Values::steps ) {
      for ( const std::string& form : stepForms( Steps::live ) ) {
         words.push_back( form.substr( 0, form.find( ' ' ) ) );
      }
   }
   return words;
}

// Text as troff takes it for text.
std::string escaped( std::string_view text ) {
   std::string result;
   for ( char c : text ) {
      result += c == '\\' ? "\\e" : c == '-' ? "\\-" : std::string( 1, c );
   }
   return result.starts_with( '.' ) ? "\\&" + result : result;
}

std::string paragraph( const std::string& name, const std::string& what ) {
   return ".TP\n.B " + escaped( name ) + "\n" + escaped( what ) + "\n";
}

std::string spaced( const std::vector< std::string >& words ) {
   std::string text;
   for ( const std::string& word : words ) {
      text += ( text.empty() ? "" : " " ) + word;
   }
   return text;
}

// How the shell finds the values.
std::string completionOf( Values values ) {
   switch ( values ) {
   case Values::none:
   case Values::free:
   case Values::input: // the shell takes PORT=FILE for three words
      return ":";
   case Values::file:
      return "_karvel_files -f";
   case Values::folder:
      return "_karvel_files -d";
   default:
      return "_karvel_words \"" + spaced( wordsOf( values ) ) + "\"";
   }
}

} // namespace

std::string synopsis( const CommandRow& row ) {
   return std::string( row.name ) + ( *row.operand ? " " : "" ) + row.operand + " [OPTION...]";
}

std::string meaning( const OptionRow& row ) {
   const std::vector< std::string > words = wordsOf( row.values );
   return row.what + ( words.empty() ? "" : "; one of " + joined( words ) );
}

std::string manualPage() {
   std::string text = ".TH KARVEL\\-AGENT 1 \"\" \"karvel-mirror " KARVEL_VERSION "\"\n"
                      ".SH NAME\nkarvel\\-agent \\- " +
         escaped( purpose ) + "\n.SH SYNOPSIS\n";
   for ( const CommandRow& row : commandRows() ) {
      text += ".B karvel\\-agent " + escaped( synopsis( row ) ) + "\n.br\n";
   }
   text += ".SH COMMANDS\n";
   for ( const CommandRow& row : commandRows() ) {
      text += paragraph( row.name, row.what );
   }
   text += ".SH OPTIONS\n";
   for ( const OptionRow& option : optionRows() ) {
      std::vector< std::string > names;
      for ( const CommandRow& row : commandRows() ) {
         if ( option.isOf( row.verb ) ) {
            names.emplace_back( row.name );
         }
      }
      text += paragraph(
            nameAndValue( option ), meaning( option ) + " (of " + joined( names ) + ")." );
   }
   text += ".SH EXIT STATUS\n";
   text += paragraph( "0", "Done." );
   text += paragraph(
         "1", "Bad input, or something refused; a line on standard error for each." );
   text += paragraph( "2", "The command line cannot be understood." );
   text += ".SH ENVIRONMENT\n";
   text += paragraph( "XDG_RUNTIME_DIR",
         "Where an agent takes commands by default, in karvel-agent.sock; without it, in a "
         "folder of the user's own below /tmp." );
   return text + paragraph( "NO_COLOR", "No colours on a terminal." );
}

std::string bashCompletion() {
   std::string text = R"(# bash completion for karvel-agent
_karvel_words() { # behind the last comma
   local list=${word%"${word##*,}"}
   mapfile -t COMPREPLY < <( compgen -P "$list" -W "$1" -- "${word##*,}" )
}
_karvel_files() {
   compopt -o filenames
   mapfile -t COMPREPLY < <( compgen "$1" -- "$word" )
}
_karvel_agent() {
   local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD-1]}
   COMPREPLY=()
   if (( COMP_CWORD == 1 )); then
      _karvel_words ")" +
         spaced( wordsOf( Values::commands ) ) + R"( --help --version"
      return
   fi
   if [[ $before == = || $word == = ]]; then # the FILE of PORT=FILE
      word=${word#=}
      _karvel_files -f
      return
   fi
   case $before in
)";
   for ( const OptionRow& option : optionRows() ) {
      if ( *option.value ) {
         text += "   " + std::string( option.name ) + ") " + completionOf( option.values ) +
               "; return ;;\n";
      }
   }
   text += "   esac\n   case ${COMP_WORDS[1]}/$word in\n";
   for ( const CommandRow& row : commandRows() ) {
      std::string names = optionNames( row.verb );
      std::erase( names, ',' );
      text += "   " + std::string( row.name ) + "/-*) _karvel_words \"" + names + "\" ;;\n" +
            "   " + row.name + "/*) " + completionOf( row.values ) + " ;;\n";
   }
   return text + "   esac\n}\ncomplete -F _karvel_agent karvel-agent\n";
}

} // namespace Agent
