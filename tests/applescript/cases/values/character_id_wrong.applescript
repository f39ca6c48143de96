character id 55296
