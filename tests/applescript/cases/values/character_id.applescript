{character id 65, string id {72, 105}, character id 128512, text id {}}
