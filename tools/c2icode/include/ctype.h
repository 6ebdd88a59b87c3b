/* ctype.h for Rill: the character classes of ASCII (the C locale), which
   icode-run provides. A character is 16 bits; values beyond 127 belong to
   no class. The tests answer 0 or 1. */
#ifndef _RILL_CTYPE_H
#define _RILL_CTYPE_H

int isalnum(int c);
int isalpha(int c);
int isblank(int c);
int iscntrl(int c);
int isdigit(int c);
int isgraph(int c);
int islower(int c);
int isprint(int c);
int ispunct(int c);
int isspace(int c);
int isupper(int c);
int isxdigit(int c);
int tolower(int c);
int toupper(int c);

#endif
