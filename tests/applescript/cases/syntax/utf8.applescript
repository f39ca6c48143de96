"é" as «class utf8»
