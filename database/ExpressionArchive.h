// Cache-file records of the symbols that are no kernel pieces: expression
// trees (symbol, range, origin, nodes) and names used without a definition
// (symbol, name, uses, value).  Loading checks every index the evaluation
// would follow: an operand always stands before its node, a symbol reference
// lies in the symbol list before the tree's own symbol (the temperature step
// goes through the list in order), an operation is one the evaluator knows,
// and no symbol is claimed twice.
#ifndef DATABASE_EXPRESSIONARCHIVE_H
#define DATABASE_EXPRESSIONARCHIVE_H

class ByteReader;
class QDataStream;
class SymbolExpressions;

void putSymbolExpressions(QDataStream& out, const SymbolExpressions& expressions);
//! Reads what putSymbolExpressions wrote; a damaged record fails in (with what is wrong).
void readSymbolExpressions(ByteReader& in, SymbolExpressions& expressions, int symbolCount);

#endif
