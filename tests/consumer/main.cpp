// A user's program across the library's border: an exception that the library throws must arrive here as its type,
// which needs one and the same type information on both sides although the library hides whatever it does not export.
#include <cstdlib>
#include <iostream>
#include <string>

#include <quillon/nimbo/BinParser.h>
#include <quillon/nimbo/BinSerializationException.h>

int main() {
  // A bare container, no package, then a root record that begins with a tag which does not exist.
  const std::string damaged = std::string("B") + std::string(8, '\0') + "?";
  try {
    quillon::nimbo::BinParser().parse(damaged);
  } catch (const quillon::nimbo::BinSerializationException& error) {
    std::cout << "caught by its type: " << error.what() << '\n';
    return EXIT_SUCCESS;
  } catch (const std::exception& error) {
    std::cout << "caught, but not by its type: " << error.what() << '\n';
    return EXIT_FAILURE;
  }
  std::cout << "the damaged stream was accepted\n";
  return EXIT_FAILURE;
}
