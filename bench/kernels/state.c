/* A switch-driven state machine: a lexer that classifies a generated stream
   of characters into numbers, names, operators and comments. */
#include <stdio.h>

#define LEN 4000

static volatile unsigned seed_source = 5150u;
static unsigned rng;

static unsigned next_rand(void) {
  rng = rng * 1103515245u + 12345u;
  return (rng >> 16) & 0x7fffu;
}

static const char alphabet[] = "abcxyz0123456789 +-*/=();#\n";
static char input[LEN + 1];

enum { START, NUMBER, NAME, OPERATOR, COMMENT, ERROR };

static unsigned lex(const char* s) {
  int state = START;
  unsigned numbers = 0, names = 0, ops = 0, comments = 0, value = 0, hash = 0;
  for (;; s++) {
    char c = *s;
    switch (state) {
      case START:
        switch (c) {
          case 0: return numbers * 1000003u + names * 10007u + ops * 101u + comments + hash;
          case ' ': case '\n': break;
          case '#': state = COMMENT; comments++; break;
          case '+': case '-': case '*': case '/': case '=': case '(': case ')': case ';':
            state = OPERATOR; ops++; hash = hash * 3u + (unsigned)c; break;
          case '0': case '1': case '2': case '3': case '4':
          case '5': case '6': case '7': case '8': case '9':
            state = NUMBER; value = (unsigned)(c - '0'); break;
          default: state = NAME; names++; hash = hash * 5u + (unsigned)c; break;
        }
        break;
      case NUMBER:
        switch (c) {
          case '0': case '1': case '2': case '3': case '4':
          case '5': case '6': case '7': case '8': case '9':
            value = value * 10u + (unsigned)(c - '0'); break;
          default: numbers++; hash += value; state = START; s--; break;
        }
        break;
      case NAME:
        switch (c) {
          case 'a': case 'b': case 'c': case 'x': case 'y': case 'z':
          case '0': case '1': case '2': case '3': case '4':
          case '5': case '6': case '7': case '8': case '9':
            hash = hash * 5u + (unsigned)c; break;
          default: state = START; s--; break;
        }
        break;
      case OPERATOR:
        state = c == '=' ? ERROR : START;
        s--;
        if (state == ERROR) { ops++; state = START; s++; }
        break;
      case COMMENT:
        if (c == '\n') state = START;
        else if (c == 0) { state = START; s--; }
        break;
      default:
        return 0;
    }
  }
}

int main(void) {
  unsigned sum = 0;
  int i, round;
  rng = seed_source;
  for (i = 0; i < LEN; i++) input[i] = alphabet[next_rand() % (sizeof alphabet - 1)];
  input[LEN] = 0;
  for (round = 0; round < 3; round++) {
    sum = sum * 7u + lex(input + round * 11);
  }
  printf("state %u\n", sum);
  return 0;
}
