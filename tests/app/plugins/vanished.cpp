// The library that the missing-library client needs and doesn't find.
int vanishedAnswer()
{
    return 42;
}
