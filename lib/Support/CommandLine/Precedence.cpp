// How tightly operators bind. Between two of them an operand goes to the one with the lower number,
// and to the left one of equals.

#include "orvy/Support/Lexer.h"

using namespace orvy::cl;

int Token::getPrecedence() const {
  switch (Kind) {
  case TokenKind('.'):
    return 1;
  case TokenKind('*'):
  case TokenKind('/'):
  case TokenKind('%'):
    return 3;
  case TokenKind('+'):
  case TokenKind('-'):
    return 4;
  case TokenKind::Shl:
  case TokenKind::Shr:
    return 5;
  case TokenKind('<'):
  case TokenKind('>'):
  case TokenKind::LessEq:
  case TokenKind::GreaterEq:
  case TokenKind::Equal:
    return 6;
  case TokenKind('&'):
    return 8;
  case TokenKind('^'):
    return 9;
  case TokenKind('|'):
    return 10;
  case TokenKind::LogicalAnd:
    return 11;
  case TokenKind::LogicalXor:
    return 12;
  case TokenKind::LogicalOr:
    return 13;
  case TokenKind('='):
    return 14;
  case TokenKind('!'):
  case TokenKind('$'):
  case TokenKind(':'):
  case TokenKind('?'):
    return 15;
  default:
    return 0;
  }
}
