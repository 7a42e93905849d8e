#include <qvl/qvl.h>
#include <iostream>

int main(int, char** argv) {  // asks about each path on the command line
  auto folders = std::make_shared<QVL::FolderDataSet>();
  folders->addToDataSet(std::make_unique<QVL::FolderAvoidance>("/var/cache/", QVL::AnyAccess, 1));
  QVL::LookupManager manager;
  manager.assignDataSet(folders, 1, 0);
  manager.defineBusinessLogic("1");
  while (*++argv) {
    QVL::LookupData access;
    access.m_filePath = *argv;
    std::cout << (manager.isPresent(access) ? "excluded " : "scan     ") << *argv << '\n';
  }
}
