<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="fr_FR">
<context>
    <name>Localizable</name>
    <message><source>Bluetooth</source><translation>Bluetooth</translation></message>
    <message><source>blt</source><translation>blt</translation></message>
    <message><source>Devices</source><translation>Appareils</translation></message>
    <message><source>No system bus</source><translation>Pas de bus système</translation></message>
    <message><source>Bluetooth service not running</source><translation>Le service Bluetooth n’est pas lancé</translation></message>
    <message><source>Bluetooth service not responding</source><translation>Le service Bluetooth ne répond pas</translation></message>
    <message><source>Bluetooth service gave an unusable answer</source><translation>Le service Bluetooth a donné une réponse inutilisable</translation></message>
    <message><source>No Bluetooth adapter</source><translation>Aucun adaptateur Bluetooth</translation></message>
    <message><source>Bluetooth is off</source><translation>Le Bluetooth est désactivé</translation></message>
    <message><source>off</source><translation>désactivé</translation></message>
    <message><source>No device connected</source><translation>Aucun appareil connecté</translation></message>
    <message><source>1 device connected</source><translation>1 appareil connecté</translation></message>
    <message><source>%1 devices connected</source><translation>%1 appareils connectés</translation></message>
</context>
</TS>
