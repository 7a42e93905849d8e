#include <qvl/qvl.h>
#include <iostream>

int main(int count, char* paths[]) {
  auto caches = std::make_shared<QVL::FolderDataSet>();
  caches->addToDataSet(std::make_unique<QVL::FolderAvoidance>("/var/cache/", QVL::AnyAccess, 1));
  QVL::LookupManager manager;
  manager.assignDataSet(caches, 1, 0);
  manager.defineBusinessLogic("1");
  for (int i = 1; i < count; ++i) {
    QVL::LookupData access;
    access.m_filePath = paths[i];
    std::cout << (manager.isPresent(access) ? "excluded  " : "scan      ") << paths[i] << '\n';
  }
}
