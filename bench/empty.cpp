// Floor for start-up: a C++ program that does nothing.
int main()
{
   return 0;
}
