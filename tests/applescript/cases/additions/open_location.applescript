open location "https://example.org/"
