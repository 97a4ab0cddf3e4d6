#pragma once

// ZOL_FOR_EACH( M, context, a, b, c ): M( context, a ) M( context, b ) M( context, c ), for up
// to about 80 elements. The recursion is the well-known one over __VA_OPT__; the depth is what
// the levels of rescanning below give.

#define ZOL_PARENS ()
#define ZOL_EXPAND( ... ) ZOL_EXPAND3( ZOL_EXPAND3( ZOL_EXPAND3( __VA_ARGS__ ) ) )
#define ZOL_EXPAND3( ... ) ZOL_EXPAND2( ZOL_EXPAND2( ZOL_EXPAND2( __VA_ARGS__ ) ) )
#define ZOL_EXPAND2( ... ) ZOL_EXPAND1( ZOL_EXPAND1( ZOL_EXPAND1( __VA_ARGS__ ) ) )
#define ZOL_EXPAND1( ... ) ZOL_EXPAND0( ZOL_EXPAND0( ZOL_EXPAND0( __VA_ARGS__ ) ) )
#define ZOL_EXPAND0( ... ) __VA_ARGS__

#define ZOL_FOR_EACH( macro, context, ... )                                                    \
   __VA_OPT__( ZOL_EXPAND( ZOL_FOR_EACH_STEP( macro, context, __VA_ARGS__ ) ) )
#define ZOL_FOR_EACH_STEP( macro, context, first, ... )                                        \
   macro( context, first )                                                                     \
         __VA_OPT__( ZOL_FOR_EACH_AGAIN ZOL_PARENS( macro, context, __VA_ARGS__ ) )
#define ZOL_FOR_EACH_AGAIN() ZOL_FOR_EACH_STEP

#define ZOL_UNPAREN( ... ) __VA_ARGS__
