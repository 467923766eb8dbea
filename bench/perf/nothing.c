// A program that does nothing: what starting any program of this C library costs.

int main(void)
{
    return 0;
}
