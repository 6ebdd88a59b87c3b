/* stdnoreturn.h */
#ifndef _RILL_STDNORETURN_H
#define _RILL_STDNORETURN_H
#define noreturn _Noreturn
#endif
