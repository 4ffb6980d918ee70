// The program around each of the other files: it starts and ends.
#include <iostream>
#include <string>

bool isReady();

int main() {
  if (isReady()) return 0;
  std::cerr << std::string("not ready\n");
  return 1;
}
