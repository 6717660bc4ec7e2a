#include <cstdio>
#include <cstdlib>

#include <unistd.h>

#include "framework/strata_datasource/StoreTestSupport.h"
#include "framework/tarn/kern/KernelTestModel.h"

/// A program that is killed, or whose system calls fail: it commits again and again, and writes one byte to standard
/// output for each commit that was acknowledged. Each commit counts "count" of the root up by one and adds one child.
///   store_victim FILE COMMITS
/// Exit status: 0 all done, 2 the store could not be bound, 3 a commit failed (it was rolled back, and reported).
int main(int count, char** arguments) {
  using namespace tarn::kern;  // NOLINT: a program of its own
  if (count != 3) return 1;
  const int commits = std::atoi(arguments[2]);
  static_cast<void>(kerneltest::types());  // registers them
  const Model model = storetest::newModel();
  try {
    storetest::bindTo(model, arguments[1]);
    for (int i = 0; i < commits; ++i) {
      Transaction change = model->beginTransaction(false);
      const std::vector<ModelElement> top = model->getTopLevelElements();
      const ModelElement root = top.empty() ? kerneltest::newNode(model, u"root") : top.front();
      root->set<std::int32_t>(u"count", top.empty() ? 1 : root->get<std::int32_t>(u"count") + 1);
      kerneltest::add(root, u"children", kerneltest::newNode(model, u"child"));
      try {
        change.commit(boost::none);
      } catch (const strata::StoreError& error) {
        std::fprintf(stderr, "%s\n", error.what());
        change.rollBack();
        return 3;
      }
      if (::write(STDOUT_FILENO, "c", 1) != 1) return 1;
    }
  } catch (const strata::StoreError& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 2;
  }
  return 0;
}
