import velstd

primes = velstd.IntSequence([2, 3, 5])
book = velstd.AnyDict(title="Numbers", pages=320, primes=primes)
velstd.print_value(book, indent=2)
print(book["pages"], "pages")
