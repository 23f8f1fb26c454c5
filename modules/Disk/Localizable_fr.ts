<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="fr_FR">
<context>
    <name>Localizable</name>
    <message><source>Disks</source><translation>Disques</translation></message>
    <message><source>dsk</source><translation>dsq</translation></message>
    <message><source>Used</source><translation>Utilisé</translation></message>
    <message><source>Read</source><translation>Lecture</translation></message>
    <message><source>Write</source><translation>Écriture</translation></message>
    <message><source>Top</source><translation>Les plus actifs</translation></message>
    <message><source>none</source><translation>aucun</translation></message>
    <message><source>none found</source><translation>aucun trouvé</translation></message>
    <message><source>%1: %2 free of %3</source><translation>%1 : %2 libres sur %3</translation></message>
    <message><source>%1: read %2, write %3</source><translation>%1 : lecture %2, écriture %3</translation></message>
    <message><source>R %1 W %2</source><translation>L %1 É %2</translation></message>
</context>
</TS>
