(current date) as «class isot»
