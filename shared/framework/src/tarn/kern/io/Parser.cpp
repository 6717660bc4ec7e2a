#include <tarn/kern/io/Parser.h>

namespace tarn::kern::io {

Parser::Parser() = default;
Parser::~Parser() = default;

const Model& Parser::target() const {
  if (!fModel)
    throw KernelError("a parser was asked to read, but has no model to fill: call setModel before parseString");
  return fModel;
}

}  // namespace tarn::kern::io
