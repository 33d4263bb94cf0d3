// Builds a one-catalog model with the installed host library and checks it.
#include <cstdio>

#include "model/zel_model.h"
#include "zel_string.h"

int main() {
  ZELModel model;
  model.setName("consumer");
  auto* catalog = new ZELDatabaseCatalog();
  catalog->setName("SALES");
  model.addChildPackage(catalog);
  const bool ok = model.getChildPackageCount() == 1 &&
                  model.getChildPackage(0)->getName() == ZELString("SALES");
  model.recursiveDelete();
  std::puts(ok ? "consumer: ok" : "consumer: wrong model");
  return ok ? 0 : 1;
}
