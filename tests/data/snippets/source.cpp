int main() {
  int a = 1;
  int b = 2;
  return a - b;
}
